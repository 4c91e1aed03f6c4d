#pragma once

#include <chrono>
#include <memory>

#include "orbelin/networking/request.h"
#include "orbelin/networking/url_request.h"

namespace TamberNetworking::detail {

// The network thread: one libcurl multi handle driving every transfer of the
// process. start() may be called from any thread; the transfer runs on the
// network thread and ends with Request::finish, exactly once. The thread and
// the multi handle are created on first use and torn down at process exit
// (requests still in flight then are dropped without their handlers).
class Transport {
 public:
  static Transport& shared();

  // REQUIRES: isValidURLText(urlRequest.url).
  // REQUIRES: every header field passes isSafeHeaderField.
  // A reply body longer than `maximumReplySize` ends the transfer with
  // Request::kDataLengthExceedsMaximum.
  void start(std::shared_ptr<Request> request, URLRequest urlRequest,
             std::chrono::milliseconds timeout, std::size_t maximumReplySize);

  ~Transport();
  Transport(const Transport&) = delete;
  Transport& operator=(const Transport&) = delete;

 private:
  Transport();
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace TamberNetworking::detail
