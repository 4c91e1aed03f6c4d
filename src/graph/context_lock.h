#pragma once

// Internal: the context's lock. Recursive, because object accessors run
// inside context operations (a predicate reads values during a fetch), and
// cheap on the path every accessor takes: re-entry is a relaxed load and a
// counter, a first entry one plain mutex lock.

#include <atomic>
#include <mutex>
#include <thread>

namespace orbelin::graph::detail {

class ContextLock {
 public:
  void lock() {
    const std::thread::id self = std::this_thread::get_id();
    // Only this thread can have stored its own id, so a match is reliable.
    if (owner_.load(std::memory_order_relaxed) == self) {
      ++depth_;
      return;
    }
    mutex_.lock();
    owner_.store(self, std::memory_order_relaxed);
    depth_ = 1;
  }

  void unlock() {
    if (--depth_ > 0) return;
    owner_.store(std::thread::id(), std::memory_order_relaxed);
    mutex_.unlock();
  }

 private:
  std::mutex mutex_;
  std::atomic<std::thread::id> owner_{};
  int depth_ = 0;  // guarded by mutex_
};

}  // namespace orbelin::graph::detail
