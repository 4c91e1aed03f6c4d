#include "orbelin/platform/notification_center.h"

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace orbelin::platform {
namespace {

struct Observer {
  std::string name;
  const void* sender;
  NotificationCenter::Callback callback;
  bool removed = false;
  // Posts currently running this callback, and on which threads.
  std::vector<std::thread::id> runningOn;
};

struct CenterState {
  std::mutex mutex;
  std::condition_variable idle;
  std::map<NotificationCenter::Token, std::shared_ptr<Observer>> observers;  // guarded by mutex
  NotificationCenter::Token nextToken = 1;                                   // guarded by mutex
};

CenterState& centerState() {
  static CenterState* instance = new CenterState();  // outlives every observer
  return *instance;
}

void eraseOne(std::vector<std::thread::id>& ids, std::thread::id id) {
  for (auto it = ids.begin(); it != ids.end(); ++it) {
    if (*it == id) {
      ids.erase(it);
      return;
    }
  }
}

}  // namespace

NotificationCenter& NotificationCenter::defaultCenter() {
  static NotificationCenter center;
  return center;
}

NotificationCenter::Token NotificationCenter::addObserver(std::string name, const void* sender,
                                                          Callback callback) {
  CenterState& s = centerState();
  std::lock_guard lock(s.mutex);
  Token token = s.nextToken++;
  s.observers.emplace(token, std::make_shared<Observer>(Observer{
                                 std::move(name), sender, std::move(callback), false, {}}));
  return token;
}

void NotificationCenter::removeObserver(Token token) {
  CenterState& s = centerState();
  std::unique_lock lock(s.mutex);
  auto found = s.observers.find(token);
  if (found == s.observers.end()) return;
  std::shared_ptr<Observer> observer = found->second;
  observer->removed = true;
  s.observers.erase(found);
  // Wait for posts on other threads to leave the callback, so the caller may
  // destroy what the callback captures.
  const auto self = std::this_thread::get_id();
  s.idle.wait(lock, [&] {
    for (auto id : observer->runningOn)
      if (id != self) return false;
    return true;
  });
}

void NotificationCenter::post(const Notification& notification) {
  CenterState& s = centerState();
  std::vector<std::shared_ptr<Observer>> matching;
  const auto self = std::this_thread::get_id();
  {
    std::lock_guard lock(s.mutex);
    for (auto& [token, observer] : s.observers) {
      if (observer->name != notification.name) continue;
      if (observer->sender != nullptr && observer->sender != notification.sender) continue;
      observer->runningOn.push_back(self);
      matching.push_back(observer);
    }
  }
  for (auto& observer : matching) {
    bool removed;
    {
      std::lock_guard lock(s.mutex);
      removed = observer->removed;
    }
    if (!removed) observer->callback(notification);
    {
      std::lock_guard lock(s.mutex);
      eraseOne(observer->runningOn, self);
    }
    s.idle.notify_all();
  }
}

void NotificationCenter::post(std::string name, const void* sender, std::any userInfo) {
  post(Notification{std::move(name), sender, std::move(userInfo)});
}

void Application::didEnterBackground() {
  NotificationCenter::defaultCenter().post(kApplicationDidEnterBackgroundNotification);
}

void Application::willTerminate() {
  NotificationCenter::defaultCenter().post(kApplicationWillTerminateNotification);
}

}  // namespace orbelin::platform
