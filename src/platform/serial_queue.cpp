#include "orbelin/platform/serial_queue.h"

#include "platform/run_and_wait.h"

namespace orbelin::platform {

namespace {

// The queues whose work this thread is running inline, innermost first, so
// that a nested sync on any of them runs inline too instead of waiting for
// itself.
struct InlineFrame {
  const SerialQueue* queue;
  const InlineFrame* outer;
};
thread_local const InlineFrame* tInline = nullptr;

}  // namespace

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
  {
    std::unique_lock lock(mutex_);
    // Nothing queued and nothing running: the work runs here, on the
    // caller's thread, holding the queue, as the platform's dispatch_sync
    // does. That saves handing it to the worker and waiting to be woken.
    if (busy_ || !work_.empty() || stopping_) {
      lock.unlock();
      runAndWait([this](Work item) { async(std::move(item)); }, work);
      return;
    }
    busy_ = true;
  }
  const InlineFrame frame{this, tInline};
  tInline = &frame;
  struct Release {
    SerialQueue& queue;
    const InlineFrame& frame;
    ~Release() {
      tInline = frame.outer;
      {
        std::lock_guard lock(queue.mutex_);
        queue.busy_ = false;
      }
      queue.wake_.notify_one();  // work queued meanwhile
    }
  } release{*this, frame};
  work();
}

bool SerialQueue::isCurrent() const {
  if (std::this_thread::get_id() == worker_.get_id()) return true;
  for (const InlineFrame* frame = tInline; frame; frame = frame->outer)
    if (frame->queue == this) return true;
  return false;
}

void SerialQueue::run() {
  for (;;) {
    Work next;
    {
      std::unique_lock lock(mutex_);
      wake_.wait(lock, [this] { return (stopping_ && !busy_) || (!work_.empty() && !busy_); });
      if (work_.empty()) return;  // stopping, and everything queued has run
      next = std::move(work_.front());
      work_.pop_front();
      busy_ = true;
    }
    next();
    std::lock_guard lock(mutex_);
    busy_ = false;
  }
}

}  // namespace orbelin::platform
