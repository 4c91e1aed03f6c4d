#include "orbelin/platform/serial_queue.h"

#include "platform/run_and_wait.h"

namespace orbelin::platform {

SerialQueue::SerialQueue(std::string label) : label_(std::move(label)) {
  worker_ = std::thread([this] { run(); });
}

SerialQueue::~SerialQueue() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_one();
  worker_.join();
}

void SerialQueue::async(Work work) {
  {
    std::lock_guard lock(mutex_);
    work_.push_back(std::move(work));
  }
  wake_.notify_one();
}

void SerialQueue::sync(const Work& work) {
  if (isCurrent()) {
    work();
    return;
  }
  runAndWait([this](Work item) { async(std::move(item)); }, work);
}

bool SerialQueue::isCurrent() const {
  return std::this_thread::get_id() == worker_.get_id();
}

void SerialQueue::run() {
  for (;;) {
    Work next;
    {
      std::unique_lock lock(mutex_);
      wake_.wait(lock, [this] { return stopping_ || !work_.empty(); });
      if (work_.empty()) return;  // stopping, and everything queued has run
      next = std::move(work_.front());
      work_.pop_front();
    }
    next();
  }
}

}  // namespace orbelin::platform
