#pragma once

#include <any>
#include <cstdint>
#include <functional>
#include <string>

namespace orbelin::platform {

// A posted notification: its name, the object that posted it (compared by
// address only, never dereferenced by the center) and a payload.
struct Notification {
  std::string name;
  const void* sender = nullptr;
  std::any userInfo;
};

// Names of the application lifecycle notifications that our stand-in for the
// phone's application object posts.
inline constexpr const char* kApplicationDidEnterBackgroundNotification =
    "UIApplicationDidEnterBackgroundNotification";
inline constexpr const char* kApplicationWillTerminateNotification =
    "UIApplicationWillTerminateNotification";

// A process-wide notification center. Observers run synchronously on the
// posting thread, in the order they were added.
//
// Thread safety: every member may be called from any thread. An observer may
// post, add or remove observers. After removeObserver returns, the callback
// is not running and will not run again (unless the caller is that callback).
class NotificationCenter {
 public:
  using Token = std::uint64_t;
  using Callback = std::function<void(const Notification&)>;

  static NotificationCenter& defaultCenter();

  // Observes `name` from `sender`, or from any sender when sender is null.
  Token addObserver(std::string name, const void* sender, Callback callback);
  void removeObserver(Token token);
  void post(const Notification& notification);
  void post(std::string name, const void* sender = nullptr, std::any userInfo = {});
};

// Our stand-in for the phone's application object: the host (or a test)
// tells it when the application goes to the background or is about to end.
class Application {
 public:
  static void didEnterBackground();
  static void willTerminate();
};

}  // namespace orbelin::platform
