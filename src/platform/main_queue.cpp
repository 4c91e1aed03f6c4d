#include "orbelin/platform/main_queue.h"

#include "platform/run_and_wait.h"

#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

namespace orbelin::platform {
namespace {

struct QueueState {
  std::mutex mutex;
  std::condition_variable wake;
  std::deque<MainQueue::Work> ready;  // guarded by mutex
  // Delayed work ordered by due time, then by submission order.
  std::map<std::pair<MainQueue::Clock::time_point, std::uint64_t>, MainQueue::Work> delayed;
  std::uint64_t sequence = 0;  // guarded by mutex
  std::thread::id mainThread = std::this_thread::get_id();
};

QueueState& state() {
  // Never destroyed: handlers may still be queued while statics go away.
  static QueueState* instance = new QueueState();
  return *instance;
}

// Captures the thread that initialises the process as the main thread.
[[maybe_unused]] const bool kBoundAtStartup = (state(), true);

// Moves due delayed work to the ready queue. REQUIRES: s.mutex held.
void promoteDueWork(QueueState& s, MainQueue::Clock::time_point now) {
  while (!s.delayed.empty() && s.delayed.begin()->first.first <= now) {
    s.ready.push_back(std::move(s.delayed.begin()->second));
    s.delayed.erase(s.delayed.begin());
  }
}

// Pops one item that is due, waiting until `deadline` at the most.
MainQueue::Work nextWork(MainQueue::Clock::time_point deadline) {
  QueueState& s = state();
  std::unique_lock lock(s.mutex);
  for (;;) {
    promoteDueWork(s, MainQueue::Clock::now());
    if (!s.ready.empty()) {
      MainQueue::Work work = std::move(s.ready.front());
      s.ready.pop_front();
      return work;
    }
    auto wakeAt = deadline;
    if (!s.delayed.empty()) wakeAt = std::min(wakeAt, s.delayed.begin()->first.first);
    if (MainQueue::Clock::now() >= deadline) return {};
    s.wake.wait_until(lock, wakeAt);
  }
}

}  // namespace

void MainQueue::async(Work work) {
  QueueState& s = state();
  {
    std::lock_guard lock(s.mutex);
    s.ready.push_back(std::move(work));
  }
  s.wake.notify_all();
}

void MainQueue::asyncAfter(Clock::duration delay, Work work) {
  QueueState& s = state();
  {
    std::lock_guard lock(s.mutex);
    // A delay past the clock's range means "never in practice": saturate
    // rather than overflow into the past.
    const auto now = Clock::now();
    const auto room = Clock::time_point::max() - now;
    auto due = delay <= Clock::duration::zero()
                   ? now
                   : (delay >= room ? Clock::time_point::max() : now + delay);
    s.delayed.emplace(std::make_pair(due, s.sequence++), std::move(work));
  }
  s.wake.notify_all();
}

void MainQueue::sync(const Work& work) {
  if (isMainThread()) {
    work();
    return;
  }
  runAndWait([](Work item) { async(std::move(item)); }, work);
}

bool MainQueue::isMainThread() {
  QueueState& s = state();
  std::lock_guard lock(s.mutex);
  return s.mainThread == std::this_thread::get_id();
}

void MainQueue::bindToCurrentThread() {
  QueueState& s = state();
  std::lock_guard lock(s.mutex);
  s.mainThread = std::this_thread::get_id();
}

bool MainQueue::runUntil(const std::function<bool()>& done, Clock::duration timeout) {
  const auto deadline = Clock::now() + timeout;
  while (!done()) {
    Work work = nextWork(deadline);
    if (!work) return done();
    work();
  }
  return true;
}

void MainQueue::runFor(Clock::duration duration) {
  const auto deadline = Clock::now() + duration;
  while (Work work = nextWork(deadline)) work();
}

std::size_t MainQueue::drain() {
  std::size_t count = 0;
  while (Work work = nextWork(Clock::now())) {
    work();
    ++count;
  }
  return count;
}

std::size_t MainQueue::pendingCount() {
  QueueState& s = state();
  std::lock_guard lock(s.mutex);
  return s.ready.size() + s.delayed.size();
}

}  // namespace orbelin::platform
