#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "orbelin/networking/request.h"
#include "orbelin/networking/url_request.h"

namespace TamberNetworking::detail {

// The network thread: one libcurl multi handle driving every transfer of the
// process. start() may be called from any thread; the transfer runs on the
// network thread and ends with Request::finish, exactly once. The thread and
// the multi handle are created on first use and torn down at process exit
// (requests still in flight then are dropped without their handlers).
// What one transfer takes from the manager's configuration when it starts.
struct TransferOptions {
  std::chrono::milliseconds timeout{30000};  // every redirect hop together
  std::size_t maximumReplySize = 0;          // decoded bytes
  // PEM text of every trusted certificate authority (the system's and the
  // host's); null: libcurl's own default store.
  std::shared_ptr<const std::string> certificateAuthorities;
  std::optional<std::string> pinnedPublicKey;
};

class Transport {
 public:
  static Transport& shared();

  // REQUIRES: isValidURLText(urlRequest.url).
  // REQUIRES: every header field passes isSafeHeaderField.
  // A reply body longer than `options.maximumReplySize` ends the transfer with
  // Request::kDataLengthExceedsMaximum. Redirects are followed here (see
  // DataSourceManager for the rules).
  void start(std::shared_ptr<Request> request, URLRequest urlRequest, TransferOptions options);

  // The PEM bundle libcurl trusts by default (the system's store), or "" when
  // it cannot be read.
  static std::string systemCertificateAuthorities();

  ~Transport();
  Transport(const Transport&) = delete;
  Transport& operator=(const Transport&) = delete;

 private:
  Transport();
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace TamberNetworking::detail
