#include "transport.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <deque>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include <curl/curl.h>

#include "orbelin/networking/data_source_manager.h"

namespace TamberNetworking::detail {
namespace {

// Everything one transfer owns; lives in the network thread's table from
// curl_multi_add_handle until the transfer is done. A redirect reconfigures it
// in place for the next hop.
struct Transfer {
  std::shared_ptr<Request> request;
  URLRequest original;  // as first sent: what the handlers get back
  URLRequest current;   // this hop's URL, method and body
  TransferOptions options;
  std::chrono::steady_clock::time_point deadline;
  int redirects = 0;
  bool tooLarge = false;  // the body outgrew maximumReplySize
  CURL* easy = nullptr;
  curl_slist* headerList = nullptr;
  HTTPURLResponse response;
  std::string body;
  char errorText[CURL_ERROR_SIZE] = {};

  ~Transfer() { release(); }
  void release() {
    if (easy != nullptr) curl_easy_cleanup(easy);
    if (headerList != nullptr) curl_slist_free_all(headerList);
    easy = nullptr;
    headerList = nullptr;
  }
};

// Returning less than was given makes libcurl end the transfer, so a reply
// that outgrows the limit is never buffered whole.
std::size_t writeBody(char* data, std::size_t size, std::size_t count, void* user) {
  auto* transfer = static_cast<Transfer*>(user);
  std::size_t length = size * count;
  if (length > transfer->options.maximumReplySize - transfer->body.size()) {
    transfer->tooLarge = true;
    return 0;
  }
  transfer->body.append(data, length);
  return length;
}

std::string trimmed(std::string_view text) {
  const char* space = " \t\r\n";
  auto first = text.find_first_not_of(space);
  if (first == std::string_view::npos) return std::string();
  auto last = text.find_last_not_of(space);
  return std::string(text.substr(first, last - first + 1));
}

// Collects the header fields of the final response; a status line starts a new
// set, so interim replies (100 Continue) leave nothing behind.
std::size_t writeHeader(char* data, std::size_t size, std::size_t count, void* user) {
  auto* transfer = static_cast<Transfer*>(user);
  std::string_view line(data, size * count);
  if (line.rfind("HTTP/", 0) == 0) {
    transfer->response.headers = HeaderFields();
  } else if (auto colon = line.find(':'); colon != std::string_view::npos) {
    transfer->response.headers.set(trimmed(line.substr(0, colon)), trimmed(line.substr(colon + 1)));
  }
  return size * count;
}

void configureMethodAndBody(CURL* easy, const URLRequest& urlRequest) {
  const std::string& method = urlRequest.method;
  if (urlRequest.body) {
    curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE,
                     static_cast<curl_off_t>(urlRequest.body->size()));
    curl_easy_setopt(easy, CURLOPT_POSTFIELDS, urlRequest.body->data());
    if (method != "POST") curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, method.c_str());
  } else if (method == "POST") {
    curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t{0});
    curl_easy_setopt(easy, CURLOPT_POSTFIELDS, "");
  } else if (method == "HEAD") {
    curl_easy_setopt(easy, CURLOPT_NOBODY, 1L);
  } else if (method != "GET") {
    curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, method.c_str());
  }
}

curl_slist* headerListOf(const URLRequest& urlRequest) {
  curl_slist* list = nullptr;
  for (const auto& [name, value] : urlRequest.headers.fields()) {
    // "Name;" is libcurl's way of sending a header with an empty value.
    std::string line = value.empty() ? name + ";" : name + ": " + value;
    list = curl_slist_append(list, line.c_str());
  }
  // Without this libcurl may wait for a 100 Continue before sending a body.
  list = curl_slist_append(list, "Expect:");
  return list;
}

long remainingMs(const Transfer& transfer) {
  auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
      transfer.deadline - std::chrono::steady_clock::now());
  // libcurl reads 0 as "no limit": a spent budget still gets a real one.
  return std::max(1L, static_cast<long>(left.count()));
}

void configureTLS(CURL* easy, const Transfer& transfer) {
  // HTTP/2 where the server offers it during the TLS handshake, else 1.1.
  curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_2TLS));
  if (const auto& authorities = transfer.options.certificateAuthorities) {
    // The bundle outlives the handle (the Transfer holds it), so no copy.
    curl_blob blob{const_cast<char*>(authorities->data()), authorities->size(), CURL_BLOB_NOCOPY};
    curl_easy_setopt(easy, CURLOPT_CAINFO_BLOB, &blob);
  }
  if (transfer.options.pinnedPublicKey)
    curl_easy_setopt(easy, CURLOPT_PINNEDPUBLICKEY, transfer.options.pinnedPublicKey->c_str());
}

bool configure(Transfer& transfer) {
  transfer.easy = curl_easy_init();
  if (transfer.easy == nullptr) return false;
  CURL* easy = transfer.easy;
  curl_easy_setopt(easy, CURLOPT_URL, transfer.current.url.c_str());
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, remainingMs(transfer));
  // "" offers every encoding this libcurl decodes and turns decoding on. A
  // host's own Accept-Encoding field (in the header list) replaces what is
  // offered but leaves decoding on.
  curl_easy_setopt(easy, CURLOPT_ACCEPT_ENCODING, "");
  // Redirects are followed by hand (see redirectOf) so that the method, the
  // scheme rule and the errors are ours, not libcurl's defaults.
  curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
  // Refuses at once a reply whose Content-Length announces too much.
  curl_easy_setopt(easy, CURLOPT_MAXFILESIZE_LARGE,
                   static_cast<curl_off_t>(transfer.options.maximumReplySize));
  curl_easy_setopt(easy, CURLOPT_PRIVATE, &transfer);
  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, transfer.errorText);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, writeBody);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &transfer);
  curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, writeHeader);
  curl_easy_setopt(easy, CURLOPT_HEADERDATA, &transfer);
  configureTLS(easy, transfer);
  transfer.headerList = headerListOf(transfer.current);
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, transfer.headerList);
  configureMethodAndBody(easy, transfer.current);
  return true;
}

long urlErrorCode(CURLcode code) {
  switch (code) {
    case CURLE_OPERATION_TIMEDOUT:
      return Request::kTimedOut;
    case CURLE_COULDNT_CONNECT:
    case CURLE_COULDNT_RESOLVE_HOST:
      return Request::kCannotConnectToHost;
    case CURLE_GOT_NOTHING:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_PARTIAL_FILE:
      return Request::kNetworkConnectionLost;
    case CURLE_URL_MALFORMAT:
      return Request::kBadURL;
    // URLs are checked before sending, so these come from the server's side:
    // a reply that is not HTTP (libcurl calls it HTTP/0.9) or is garbled.
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_WEIRD_SERVER_REPLY:
      return Request::kBadServerResponse;
    case CURLE_FILESIZE_EXCEEDED:
      return Request::kDataLengthExceedsMaximum;
    case CURLE_BAD_CONTENT_ENCODING:
      return Request::kCannotDecodeRawData;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_INVALIDCERTSTATUS:
      return Request::kServerCertificateUntrusted;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_CRL_BADFILE:
    case CURLE_SSL_SHUTDOWN_FAILED:
    case CURLE_USE_SSL_FAILED:
      return Request::kSecureConnectionFailed;
    case CURLE_TOO_MANY_REDIRECTS:
      return Request::kHTTPTooManyRedirects;
    default:
      return Request::kUnknown;
  }
}

std::string urlErrorText(long code) {
  switch (code) {
    case Request::kTimedOut:
      return "The request timed out.";
    case Request::kCannotConnectToHost:
      return "Could not connect to the server.";
    case Request::kNetworkConnectionLost:
      return "The network connection was lost.";
    case Request::kBadURL:
    case Request::kUnsupportedURL:
      return "unsupported URL";
    case Request::kBadServerResponse:
      return "The server returned a bad response.";
    case Request::kDataLengthExceedsMaximum:
      return "The reply is larger than the maximum reply size.";
    case Request::kCannotDecodeRawData:
      return "cannot decode raw data";
    case Request::kHTTPTooManyRedirects:
      return "too many HTTP redirects";
    case Request::kSecureConnectionRequired:
      return "The resource could not be loaded because a secure connection is required.";
    case Request::kServerCertificateUntrusted:
      return "The certificate for this server is invalid";
    case Request::kSecureConnectionFailed:
      return "An SSL error has occurred and a secure connection to the server cannot be made.";
    default:
      return "An unknown error occurred.";
  }
}

orbelin::Error urlError(long code, const std::string& url, const std::string& reason) {
  std::string text = urlErrorText(code);
  // The certificate's trouble is what a reader needs to act on, so it is part
  // of the description itself, not only of the failure reason.
  if (code == Request::kServerCertificateUntrusted && !reason.empty()) text += ": " + reason;
  orbelin::Error error(orbelin::error_domain::kURL, code, text);
  error.setUserInfoValue(orbelin::Error::kURLKey, url);
  if (!reason.empty()) error.setUserInfoValue(orbelin::Error::kLocalizedFailureReasonKey, reason);
  return error;
}

Reply replyOf(Transfer& transfer, CURLcode result) {
  Reply reply;
  reply.request = transfer.original;
  long status = 0;
  if (transfer.easy != nullptr) curl_easy_getinfo(transfer.easy, CURLINFO_RESPONSE_CODE, &status);
  if (transfer.tooLarge) result = CURLE_FILESIZE_EXCEEDED;
  // Bytes that could not be decoded are not the reply's text.
  bool keepBody = result != CURLE_FILESIZE_EXCEEDED && result != CURLE_BAD_CONTENT_ENCODING;
  if (status != 0) {
    transfer.response.statusCode = status;
    transfer.response.url = transfer.current.url;
    reply.response = std::move(transfer.response);
    if (keepBody) reply.body = std::move(transfer.body);
  }
  if (result != CURLE_OK) {
    long code = urlErrorCode(result);
    std::string detail =
        transfer.errorText[0] != '\0' ? transfer.errorText : curl_easy_strerror(result);
    reply.error = urlError(code, transfer.current.url, detail);
  }
  return reply;
}

bool isRedirectStatus(long status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

bool hasScheme(std::string_view url, std::string_view scheme) {
  if (url.size() < scheme.size() + 3) return false;
  for (std::size_t i = 0; i < scheme.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(url[i])) != scheme[i]) return false;
  }
  return url.substr(scheme.size(), 3) == "://";
}

// What a finished hop leads to: nothing (deliver this reply), the next hop
// (true), or an error that ends the request.
struct RedirectDecision {
  bool follow = false;
  std::optional<orbelin::Error> error;
};

RedirectDecision redirectOf(Transfer& transfer) {
  RedirectDecision decision;
  long status = 0;
  curl_easy_getinfo(transfer.easy, CURLINFO_RESPONSE_CODE, &status);
  if (!isRedirectStatus(status)) return decision;
  char* location = nullptr;
  // libcurl resolves a relative Location against this hop's URL.
  if (curl_easy_getinfo(transfer.easy, CURLINFO_REDIRECT_URL, &location) != CURLE_OK ||
      location == nullptr)
    return decision;
  const std::string target(location);
  if (transfer.redirects >= DataSourceManager::kMaximumRedirects) {
    decision.error = urlError(Request::kHTTPTooManyRedirects, transfer.current.url, target);
    return decision;
  }
  const bool toHTTPS = hasScheme(target, "https");
  if (!toHTTPS && !hasScheme(target, "http")) {
    decision.error = urlError(Request::kUnsupportedURL, target, "redirect to " + target);
    return decision;
  }
  if (!toHTTPS && hasScheme(transfer.current.url, "https")) {
    decision.error =
        urlError(Request::kSecureConnectionRequired, target, "redirect from https to " + target);
    return decision;
  }
  if (!isValidURLText(target)) {
    decision.error = urlError(Request::kBadURL, target, "redirect to " + target);
    return decision;
  }
  const std::string& method = transfer.current.method;
  if ((status == 303 && method != "HEAD" && method != "GET") ||
      ((status == 301 || status == 302) && method == "POST")) {
    transfer.current.method = "GET";
    transfer.current.body.reset();
  }
  transfer.current.url = target;
  ++transfer.redirects;
  decision.follow = true;
  return decision;
}

// Makes the transfer ready for its (next) hop; false when libcurl cannot.
bool prepareHop(Transfer& transfer) {
  transfer.release();
  transfer.response = HTTPURLResponse();
  transfer.body.clear();
  transfer.tooLarge = false;
  transfer.errorText[0] = '\0';
  return configure(transfer);
}

}  // namespace

struct Transport::State {
  CURLM* multi = nullptr;
  std::thread thread;
  std::mutex mutex;
  std::deque<std::unique_ptr<Transfer>> incoming;  // guarded by mutex
  bool stopping = false;                           // guarded by mutex
  // Network thread only: transfers in flight, by easy handle.
  std::map<CURL*, std::unique_ptr<Transfer>> active;

  void run();
  // Starts the transfer's hop, or finishes its request when that fails.
  bool add(std::unique_ptr<Transfer> transfer);
  void addIncoming();
  void finishDone();
};

bool Transport::State::add(std::unique_ptr<Transfer> transfer) {
  if (!prepareHop(*transfer)) {
    transfer->request->finish(replyOf(*transfer, CURLE_OUT_OF_MEMORY));
    return false;
  }
  CURL* easy = transfer->easy;
  if (curl_multi_add_handle(multi, easy) != CURLM_OK) {
    transfer->request->finish(replyOf(*transfer, CURLE_FAILED_INIT));
    return false;
  }
  active.emplace(easy, std::move(transfer));
  return true;
}

void Transport::State::addIncoming() {
  std::deque<std::unique_ptr<Transfer>> batch;
  {
    std::lock_guard lock(mutex);
    batch.swap(incoming);
  }
  for (auto& transfer : batch) add(std::move(transfer));
}

void Transport::State::finishDone() {
  int left = 0;
  while (CURLMsg* message = curl_multi_info_read(multi, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    CURL* easy = message->easy_handle;
    CURLcode result = message->data.result;
    Transfer* owner = nullptr;
    curl_easy_getinfo(easy, CURLINFO_PRIVATE, &owner);
    auto found = active.find(easy);
    if (found == active.end() || found->second.get() != owner) continue;
    std::unique_ptr<Transfer> transfer = std::move(found->second);
    active.erase(found);
    curl_multi_remove_handle(multi, easy);
    if (result == CURLE_OK && !transfer->tooLarge) {
      RedirectDecision redirect = redirectOf(*transfer);
      if (redirect.error) {
        Reply reply;
        reply.request = transfer->original;
        reply.error = std::move(redirect.error);
        transfer->request->finish(std::move(reply));
        continue;
      }
      if (redirect.follow) {
        add(std::move(transfer));
        continue;
      }
    }
    transfer->request->finish(replyOf(*transfer, result));
  }
}

void Transport::State::run() {
  for (;;) {
    {
      std::lock_guard lock(mutex);
      if (stopping) break;
    }
    addIncoming();
    int running = 0;
    curl_multi_perform(multi, &running);
    finishDone();
    // Sleeps until a socket is ready, a timer is due or start() wakes it.
    curl_multi_poll(multi, nullptr, 0, 1000, nullptr);
  }
  for (auto& [easy, transfer] : active) curl_multi_remove_handle(multi, easy);
  active.clear();
}

Transport& Transport::shared() {
  static Transport transport;
  return transport;
}

Transport::Transport() : state_(std::make_unique<State>()) {
  curl_global_init(CURL_GLOBAL_DEFAULT);
  state_->multi = curl_multi_init();
  // A burst of requests to one service must not open a socket each (a host's
  // descriptors run out, and servers refuse the surplus): libcurl keeps the
  // rest waiting until one of these connections is free.
  curl_multi_setopt(state_->multi, CURLMOPT_MAX_HOST_CONNECTIONS,
                    DataSourceManager::kMaximumConnectionsPerHost);
  state_->thread = std::thread([state = state_.get()] { state->run(); });
}

Transport::~Transport() {
  {
    std::lock_guard lock(state_->mutex);
    state_->stopping = true;
  }
  curl_multi_wakeup(state_->multi);
  state_->thread.join();
  state_->incoming.clear();
  curl_multi_cleanup(state_->multi);
  curl_global_cleanup();
}

void Transport::start(std::shared_ptr<Request> request, URLRequest urlRequest,
                      TransferOptions options) {
  auto transfer = std::make_unique<Transfer>();
  transfer->request = std::move(request);
  transfer->original = urlRequest;
  transfer->current = std::move(urlRequest);
  transfer->deadline = std::chrono::steady_clock::now() + options.timeout;
  transfer->options = std::move(options);
  {
    std::lock_guard lock(state_->mutex);
    state_->incoming.push_back(std::move(transfer));
  }
  curl_multi_wakeup(state_->multi);
}

std::string Transport::systemCertificateAuthorities() {
  curl_global_init(CURL_GLOBAL_DEFAULT);
  std::string path = "/etc/ssl/certs/ca-certificates.crt";
  if (CURL* easy = curl_easy_init()) {
    char* builtIn = nullptr;
    if (curl_easy_getinfo(easy, CURLINFO_CAINFO, &builtIn) == CURLE_OK && builtIn != nullptr)
      path = builtIn;
    curl_easy_cleanup(easy);
  }
  curl_global_cleanup();
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::string();
  return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
}

}  // namespace TamberNetworking::detail
