#include "transport.h"

#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include <curl/curl.h>

namespace TamberNetworking::detail {
namespace {

// Everything one transfer owns; lives in the network thread's table from
// curl_multi_add_handle until the transfer is done.
struct Transfer {
  std::shared_ptr<Request> request;
  URLRequest urlRequest;
  long timeoutMs = 0;
  std::size_t maximumReplySize = 0;
  bool tooLarge = false;  // the body outgrew maximumReplySize
  CURL* easy = nullptr;
  curl_slist* headerList = nullptr;
  HTTPURLResponse response;
  std::string body;
  char errorText[CURL_ERROR_SIZE] = {};

  ~Transfer() {
    if (easy != nullptr) curl_easy_cleanup(easy);
    if (headerList != nullptr) curl_slist_free_all(headerList);
  }
};

// Returning less than was given makes libcurl end the transfer, so a reply
// that outgrows the limit is never buffered whole.
std::size_t writeBody(char* data, std::size_t size, std::size_t count, void* user) {
  auto* transfer = static_cast<Transfer*>(user);
  std::size_t length = size * count;
  if (length > transfer->maximumReplySize - transfer->body.size()) {
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

bool configure(Transfer& transfer) {
  transfer.easy = curl_easy_init();
  if (transfer.easy == nullptr) return false;
  CURL* easy = transfer.easy;
  curl_easy_setopt(easy, CURLOPT_URL, transfer.urlRequest.url.c_str());
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, transfer.timeoutMs);
  // Refuses at once a reply whose Content-Length announces too much.
  curl_easy_setopt(easy, CURLOPT_MAXFILESIZE_LARGE,
                   static_cast<curl_off_t>(transfer.maximumReplySize));
  curl_easy_setopt(easy, CURLOPT_PRIVATE, &transfer);
  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, transfer.errorText);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, writeBody);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &transfer);
  curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, writeHeader);
  curl_easy_setopt(easy, CURLOPT_HEADERDATA, &transfer);
  transfer.headerList = headerListOf(transfer.urlRequest);
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, transfer.headerList);
  configureMethodAndBody(easy, transfer.urlRequest);
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
      return "unsupported URL";
    case Request::kBadServerResponse:
      return "The server returned a bad response.";
    case Request::kDataLengthExceedsMaximum:
      return "The reply is larger than the maximum reply size.";
    default:
      return "An unknown error occurred.";
  }
}

Reply replyOf(Transfer& transfer, CURLcode result) {
  Reply reply;
  reply.request = transfer.urlRequest;
  long status = 0;
  curl_easy_getinfo(transfer.easy, CURLINFO_RESPONSE_CODE, &status);
  if (transfer.tooLarge) result = CURLE_FILESIZE_EXCEEDED;
  bool keepBody = result != CURLE_FILESIZE_EXCEEDED;
  if (status != 0) {
    transfer.response.statusCode = status;
    transfer.response.url = transfer.urlRequest.url;
    reply.response = std::move(transfer.response);
    if (keepBody) reply.body = std::move(transfer.body);
  }
  if (result != CURLE_OK) {
    long code = urlErrorCode(result);
    orbelin::Error error(orbelin::error_domain::kURL, code, urlErrorText(code));
    error.setUserInfoValue(orbelin::Error::kURLKey, transfer.urlRequest.url);
    std::string detail =
        transfer.errorText[0] != '\0' ? transfer.errorText : curl_easy_strerror(result);
    error.setUserInfoValue(orbelin::Error::kLocalizedFailureReasonKey, detail);
    reply.error = std::move(error);
  }
  return reply;
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
  void addIncoming();
  void finishDone();
};

void Transport::State::addIncoming() {
  std::deque<std::unique_ptr<Transfer>> batch;
  {
    std::lock_guard lock(mutex);
    batch.swap(incoming);
  }
  for (auto& transfer : batch) {
    if (!configure(*transfer)) {
      transfer->request->finish(replyOf(*transfer, CURLE_OUT_OF_MEMORY));
      continue;
    }
    CURL* easy = transfer->easy;
    if (curl_multi_add_handle(multi, easy) != CURLM_OK) {
      transfer->request->finish(replyOf(*transfer, CURLE_FAILED_INIT));
      continue;
    }
    active.emplace(easy, std::move(transfer));
  }
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
                      std::chrono::milliseconds timeout, std::size_t maximumReplySize) {
  auto transfer = std::make_unique<Transfer>();
  transfer->request = std::move(request);
  transfer->urlRequest = std::move(urlRequest);
  transfer->timeoutMs = static_cast<long>(timeout.count());
  transfer->maximumReplySize = maximumReplySize;
  {
    std::lock_guard lock(state_->mutex);
    state_->incoming.push_back(std::move(transfer));
  }
  curl_multi_wakeup(state_->multi);
}

}  // namespace TamberNetworking::detail
