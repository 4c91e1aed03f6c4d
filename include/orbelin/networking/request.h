#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "orbelin/networking/json.h"
#include "orbelin/networking/url_request.h"
#include "orbelin/platform/error.h"

namespace TamberNetworking {

class DataSourceManager;
namespace detail {
class Transport;
}

// Everything that came back for one request: the URL request as sent (or as
// built, for one that could not be sent), the server's response, the body, and
// the transport error if the exchange failed.
struct Reply {
  std::optional<URLRequest> request;
  std::optional<HTTPURLResponse> response;
  std::optional<std::string> body;
  std::optional<orbelin::Error> error;
};

// One request started by DataSourceManager::request. Reference type: it is
// always held through std::shared_ptr, and every operation returns the same
// pointer so that calls chain:
//   DataSourceManager::request(value)->validate()->responseJSON(handler);
//
// Delivery: every attached handler runs exactly once, on the main queue
// (platform::MainQueue::async), never inline inside the call that attaches it
// or the call that started the request. A handler attached after the reply
// arrived still runs once. Handlers run in the order they were attached.
//
// Validation: after validate(), a reply whose status is outside 200-299 reaches
// every handler not yet run as an error (domain TamberNetworking, code
// kStatusCodeValidationFailed) whose user info keeps the status
// (Error::kStatusCodeKey), the body text (Error::kResponseBodyKey) and the URL
// (Error::kURLKey); the response and body are passed along too. Without
// validate() any status is a success.
//
// Errors: transport failures arrive as NSURLErrorDomain errors (codes below);
// responseJSON of a body that is empty or not JSON is a TamberNetworking error
// with code kJSONSerializationFailed, delivered once, with a null JSON.
//
// Ownership: the library keeps the request alive while it is in flight and
// until every handler attached to it has run; callers may drop their pointer at
// any time. Thread safety: all member functions may be called from any thread.
class Request : public std::enable_shared_from_this<Request> {
 public:
  using JSONHandler = std::function<void(std::optional<URLRequest>, std::optional<HTTPURLResponse>,
                                         JSON, std::optional<orbelin::Error>)>;
  using StringHandler =
      std::function<void(std::optional<URLRequest>, std::optional<HTTPURLResponse>,
                         std::optional<std::string>, std::optional<orbelin::Error>)>;

  // Error codes (NSURLErrorDomain ones are the phone platform's values).
  static constexpr long kStatusCodeValidationFailed = -6003;  // TamberNetworking
  static constexpr long kJSONSerializationFailed = 3840;      // TamberNetworking
  static constexpr long kBadURL = -1000;                      // NSURLErrorDomain
  static constexpr long kTimedOut = -1001;
  static constexpr long kUnsupportedURL = -1002;  // a redirect to another scheme
  static constexpr long kCannotConnectToHost = -1004;
  static constexpr long kNetworkConnectionLost = -1005;
  static constexpr long kHTTPTooManyRedirects = -1007;
  static constexpr long kBadServerResponse = -1011;         // a reply that is not HTTP
  static constexpr long kCannotDecodeRawData = -1015;       // content encoding
  static constexpr long kSecureConnectionRequired = -1022;  // redirect from https to http
  static constexpr long kDataLengthExceedsMaximum = -1103;  // see maximumReplySize
  static constexpr long kSecureConnectionFailed = -1200;
  static constexpr long kServerCertificateUntrusted = -1202;  // verification or pin failed
  static constexpr long kUnknown = -1;

  // The reply body parsed as JSON (JSON::parse, depth-limited).
  std::shared_ptr<Request> responseJSON(JSONHandler handler);
  // The reply body as text, absent when nothing came back.
  std::shared_ptr<Request> responseString(StringHandler handler);
  // Turns status validation on for every handler that has not run yet.
  std::shared_ptr<Request> validate();

  // True once the reply (or failure) is known.
  bool isFinished() const;

  Request(const Request&) = delete;
  Request& operator=(const Request&) = delete;

 private:
  friend class DataSourceManager;
  friend class detail::Transport;
  using Delivery = std::function<void(const Reply&, bool validating)>;

  // Only the library makes requests, and records each reply once (later calls
  // are ignored), queueing the handlers already attached.
  static std::shared_ptr<Request> make();
  void finish(Reply reply);

  Request() = default;
  void attach(Delivery delivery);
  void dispatch(std::vector<Delivery> deliveries);

  mutable std::mutex mutex_;
  std::optional<Reply> reply_;     // guarded by mutex_; set once, then read-only
  std::vector<Delivery> pending_;  // guarded by mutex_
  std::atomic<bool> validating_{false};
};

}  // namespace TamberNetworking
