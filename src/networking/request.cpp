#include "orbelin/networking/request.h"

#include <utility>

#include "orbelin/platform/main_queue.h"

namespace TamberNetworking {
namespace {

orbelin::Error validationError(const Reply& reply) {
  const long status = reply.response->statusCode;
  orbelin::Error error(orbelin::error_domain::kNetworking, Request::kStatusCodeValidationFailed,
                       "Response status code was unacceptable: " + std::to_string(status) + ".");
  error.setUserInfoValue(orbelin::Error::kStatusCodeKey, std::to_string(status));
  error.setUserInfoValue(orbelin::Error::kResponseBodyKey, reply.body.value_or(""));
  error.setUserInfoValue(orbelin::Error::kURLKey, reply.response->url);
  return error;
}

// The transport error, else the validation error when validation is on.
std::optional<orbelin::Error> failureOf(const Reply& reply, bool validating) {
  if (reply.error) return reply.error;
  if (!validating || !reply.response) return std::nullopt;
  const long status = reply.response->statusCode;
  if (status >= 200 && status <= 299) return std::nullopt;
  return validationError(reply);
}

orbelin::Error jsonError(std::string text) {
  return orbelin::Error(orbelin::error_domain::kNetworking, Request::kJSONSerializationFailed,
                        std::move(text));
}

}  // namespace

std::shared_ptr<Request> Request::make() {
  return std::shared_ptr<Request>(new Request());
}

std::shared_ptr<Request> Request::responseJSON(JSONHandler handler) {
  attach([handler = std::move(handler)](const Reply& reply, bool validating) {
    if (auto failure = failureOf(reply, validating)) {
      handler(reply.request, reply.response, JSON(), std::move(failure));
      return;
    }
    if (!reply.body || reply.body->empty()) {
      handler(reply.request, reply.response, JSON(),
              jsonError("The data couldn't be read because it is empty."));
      return;
    }
    auto parsed = JSON::parse(*reply.body);
    if (!parsed) {
      handler(reply.request, reply.response, JSON(), parsed.error());
      return;
    }
    handler(reply.request, reply.response, std::move(*parsed), std::nullopt);
  });
  return shared_from_this();
}

std::shared_ptr<Request> Request::responseString(StringHandler handler) {
  attach([handler = std::move(handler)](const Reply& reply, bool validating) {
    handler(reply.request, reply.response, reply.body, failureOf(reply, validating));
  });
  return shared_from_this();
}

std::shared_ptr<Request> Request::validate() {
  validating_.store(true);
  return shared_from_this();
}

bool Request::isFinished() const {
  std::lock_guard lock(mutex_);
  return reply_.has_value();
}

void Request::finish(Reply reply) {
  std::vector<Delivery> ready;
  {
    std::lock_guard lock(mutex_);
    if (reply_) return;
    reply_ = std::move(reply);
    ready.swap(pending_);
  }
  dispatch(std::move(ready));
}

void Request::attach(Delivery delivery) {
  {
    std::lock_guard lock(mutex_);
    if (!reply_) {
      pending_.push_back(std::move(delivery));
      return;
    }
  }
  std::vector<Delivery> ready;
  ready.push_back(std::move(delivery));
  dispatch(std::move(ready));
}

// Each queued block holds the request, so it lives until its handlers ran. The
// reply is never changed after finish(), so the main thread reads it unlocked;
// the queue's own lock orders that read after the write.
void Request::dispatch(std::vector<Delivery> deliveries) {
  std::shared_ptr<Request> self = shared_from_this();
  for (auto& delivery : deliveries) {
    orbelin::platform::MainQueue::async([self, delivery = std::move(delivery)] {
      delivery(*self->reply_, self->validating_.load());
    });
  }
}

}  // namespace TamberNetworking
