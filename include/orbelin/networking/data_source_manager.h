#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "orbelin/networking/data_source.h"
#include "orbelin/networking/request.h"
#include "orbelin/networking/url_request.h"

namespace TamberNetworking {

// The process-wide request configuration and the one entry point that starts
// requests. All state is class-level.
//
// Remote mode: request() asks the value for its URL request on the current
// base URL, adds the default headers (a header the request sets itself wins
// over a default of the same name), and hands it to the network thread: one
// thread, one libcurl multi handle, any number of transfers in flight over at
// most kMaximumConnectionsPerHost connections to each host; the others wait
// for a free connection, their timeout running while they wait. A URL
// text that isValidURLText rejects is never sent; its handlers get a
// NSURLErrorDomain error with code Request::kBadURL, and nothing is sent.
// Replies that are not HTTP end with Request::kBadServerResponse. Only http and
// https are spoken.
//
// Compression: every request offers (Accept-Encoding) each content encoding
// the linked libcurl decodes (gzip and deflate, br and zstd where built in),
// and replies are decoded before anyone sees them. A host that sets its own
// Accept-Encoding default header changes what is offered, never the decoding.
// A reply whose declared encoding cannot be decoded (unknown, or corrupt data)
// ends as Request::kCannotDecodeRawData ("cannot decode raw data"), never as
// the raw bytes.
//
// Redirects: a 301, 302, 303, 307 or 308 reply with a Location is followed, up
// to kMaximumRedirects times (one more ends as Request::kHTTPTooManyRedirects).
// 307 and 308 keep the method and body; 303 turns any method but HEAD into a
// GET without body, and 301 and 302 turn a POST into one. Every header field
// (defaults included) is sent again on each hop. A redirect from https to http
// ends as Request::kSecureConnectionRequired, one to a scheme other than http
// or https as Request::kUnsupportedURL. The response that the handlers and
// validate() see is the last one: its status and its URL (HTTPURLResponse::url)
// while the Reply's request stays the one first sent. A 3xx without a Location
// is an ordinary reply. The request timeout covers every hop together.
//
// TLS: https servers are verified against the system's trust store, plus the
// certificate authorities of setCertificateAuthorities, and against the pinned
// public key of setPinnedPublicKey when one is set. HTTP/2 is used where a
// server offers it over TLS. A certificate that fails verification, or a key
// that does not match the pin, ends as Request::kServerCertificateUntrusted,
// whose description names the reason; other TLS failures as
// Request::kSecureConnectionFailed.
//
// Local mode: request() asks the value (which must also be RequestMatching)
// for its local Response, right away on the calling thread, and delivers it
// like a reply: status 200 with the file's bytes, or the resource error. No
// network traffic happens.
//
// Either way request() returns at once and handlers run later on the main
// queue (see Request).
//
// Thread safety: every function may be called from any thread; each request
// takes a snapshot of the configuration when it starts.
class DataSourceManager {
 public:
  // The header is added to every later request; a repeated name (compared
  // without case) replaces the value. A field that isSafeHeaderField refuses
  // (a CR, LF or NUL in the value, a name that is not an HTTP token) is not
  // stored: the console line "OrbelinData: Refused header <name>" (the name
  // with unsafe characters shown as '?') is printed, and the earlier value of
  // that name, if any, is dropped too, so a stale value is never sent in its
  // place. Fields that a request sets itself get the same check when it starts.
  static void setDefaultHeader(const std::string& name, const std::string& value);
  static HeaderFields defaultHeaders();

  // Handed to urlRequestWithBaseURLString of every request. Default: absent.
  static std::optional<std::string> baseURLString();
  static void setBaseURLString(std::optional<std::string> baseURLString);

  // True: answer locally, send nothing. Default: false.
  static bool localMode();
  static void setLocalMode(bool localMode);

  // Where local resources are looked up. Default: the bundled sample data, that
  // is the installed <datadir>/OrbelinData/sample when it exists, else the
  // source tree's resources/sample. Setting absent restores the default.
  static std::filesystem::path resourceRoot();
  static void setResourceRoot(std::optional<std::filesystem::path> root);
  static std::filesystem::path defaultResourceRoot();

  // Longest time one remote request may take, connection included. Default 30 s.
  static std::chrono::milliseconds requestTimeout();
  static void setRequestTimeout(std::chrono::milliseconds timeout);

  // Largest reply body a remote request accepts, in bytes. A larger reply,
  // announced by Content-Length or not, ends the transfer: its handlers get a
  // NSURLErrorDomain error with code Request::kDataLengthExceedsMaximum and no
  // body. Default kDefaultMaximumReplySize (64 MiB); at least 1.
  static constexpr std::size_t kDefaultMaximumReplySize = std::size_t{64} << 20;
  static std::size_t maximumReplySize();
  static void setMaximumReplySize(std::size_t bytes);

  // Certificate authorities trusted beside the system's ones for https: a PEM
  // file, or a directory whose regular files (PEM) are all read. The files are
  // read now; later changes to them are not seen until this is called again.
  // Returns false, and keeps the earlier setting, when no PEM certificate can
  // be read there. Absent (the default) trusts the system's store only.
  static bool setCertificateAuthorities(std::optional<std::filesystem::path> pemFileOrDirectory);
  static std::optional<std::filesystem::path> certificateAuthorities();

  // The server's public key must match: "sha256//" followed by the base64
  // SHA-256 of its DER public key (as curl's --pinnedpubkey), several joined by
  // ';' when any of them may match. Returns false, and keeps the earlier
  // setting, for any other text. Absent (the default): no pin.
  static bool setPinnedPublicKey(std::optional<std::string> pin);
  static std::optional<std::string> pinnedPublicKey();

  // Connections open at once to one host (scheme, name and port).
  static constexpr long kMaximumConnectionsPerHost = 6;

  // How many redirects one request follows at most.
  static constexpr int kMaximumRedirects = 10;

  // Creates and starts a library request for `value` and returns it at once.
  // The value is only used during this call.
  static std::shared_ptr<Request> request(const DataSourceRequest& value);

  // Restores every setting to its default (tests and hosts that reconfigure).
  static void resetToDefaults();
};

}  // namespace TamberNetworking
