#pragma once

#include <chrono>
#include <cstddef>
#include <functional>

namespace orbelin::platform {

// The application's main queue: a FIFO of work that the host drains on its
// own main thread. Every networking handler, every main-queue context block
// and DateUtils::performAfterDelay run here, so code that touches main-thread
// state never needs a lock.
//
// The main thread is the thread that initialised the process (the one that
// runs main()), unless the host calls bindToCurrentThread() from another one.
// Work is only run while that thread drains the queue (runUntil, runFor,
// drain); a host that never drains never sees handlers run.
//
// Thread safety: async, asyncAfter and sync may be called from any thread;
// the run/drain functions only from the main thread.
class MainQueue {
 public:
  using Work = std::function<void()>;
  using Clock = std::chrono::steady_clock;

  // Enqueues work to run once, after everything already queued.
  static void async(Work work);
  // Enqueues work to run once, no earlier than `delay` from now.
  static void asyncAfter(Clock::duration delay, Work work);
  // Runs work on the main thread and waits for it. On the main thread it runs
  // inline. REQUIRES: the main thread is draining, or will drain, the queue.
  static void sync(const Work& work);

  static bool isMainThread();
  static void bindToCurrentThread();

  // Runs due work until `done()` holds (checked after each item and before
  // waiting) or `timeout` passes. Returns done(). REQUIRES: main thread.
  static bool runUntil(const std::function<bool()>& done, Clock::duration timeout);
  // Runs due work for `duration`. REQUIRES: main thread.
  static void runFor(Clock::duration duration);
  // Runs the work that is due now, without waiting; returns how many ran.
  static std::size_t drain();

  // Number of items queued, delayed ones included (tests).
  static std::size_t pendingCount();
};

}  // namespace orbelin::platform
