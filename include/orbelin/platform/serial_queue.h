#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace orbelin::platform {

// A private serial queue: work runs one item at a time, in the order it was
// submitted, on one worker thread (or, for sync on an idle queue, on the
// caller's thread). Private-queue contexts run on one of these.
//
// Thread safety: every member may be called from any thread. The destructor
// runs what is already queued, then joins the worker; it must not be called
// from the queue's own thread.
class SerialQueue {
 public:
  using Work = std::function<void()>;

  explicit SerialQueue(std::string label);
  ~SerialQueue();
  SerialQueue(const SerialQueue&) = delete;
  SerialQueue& operator=(const SerialQueue&) = delete;

  void async(Work work);
  // Runs work on the queue and waits for it. Inline when called on the
  // queue; also inline, on the caller's thread, when the queue is idle (no
  // work queued or running), which then waits for it as for any work.
  void sync(const Work& work);
  // True on the queue's own worker thread, and inside work that sync runs
  // inline on the caller's thread.
  bool isCurrent() const;
  const std::string& label() const { return label_; }

 private:
  void run();

  std::string label_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<Work> work_;  // guarded by mutex_
  bool busy_ = false;      // guarded by mutex_; work running (on the worker or inline)
  bool stopping_ = false;  // guarded by mutex_
  std::thread worker_;
};

}  // namespace orbelin::platform
