#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace orbelin::platform {

// A private serial queue: one worker thread that runs submitted work in
// order. Private-queue contexts run on one of these.
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
  // Runs work on the queue and waits for it; inline when called on the queue.
  void sync(const Work& work);
  // True on the queue's own worker thread.
  bool isCurrent() const;
  const std::string& label() const { return label_; }

 private:
  void run();

  std::string label_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<Work> work_;  // guarded by mutex_
  bool stopping_ = false;  // guarded by mutex_
  std::thread worker_;
};

}  // namespace orbelin::platform
