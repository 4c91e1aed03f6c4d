#include <atomic>
#include <cstdio>
#include <mutex>
#include <numeric>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "orbelin/platform/clock.h"
#include "orbelin/platform/console.h"
#include "orbelin/platform/host_environment.h"
#include "orbelin/platform/main_queue.h"
#include "orbelin/platform/notification_center.h"
#include "orbelin/platform/serial_queue.h"
#include "support/test_support.h"

using namespace orbelin;
using namespace orbelin::platform;
using namespace std::chrono_literals;

namespace {

// Work posted from any thread runs in order, on the main thread, only when
// drained; sync waits for its work; odd delays neither overflow nor run early.
TEST(MainQueue, RunsWorkInOrderOnTheMainThreadOnlyWhenDrained) {
  // Each item records its number, negated when it runs off the main thread.
  std::vector<int> order;
  auto record = [&](int n) {
    return [&, n] { order.push_back(MainQueue::isMainThread() ? n : -n); };
  };
  std::thread producer([&] {
    MainQueue::asyncAfter(30ms, record(3));
    MainQueue::async(record(1));
    MainQueue::async(record(2));
  });
  producer.join();
  EXPECT_TRUE(order.empty()) << "nothing runs before the host drains";
  ASSERT_TRUE(MainQueue::runUntil([&] { return order.size() == 3; }, 2s));
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(MainQueue::pendingCount(), 0u);

  // sync from another thread runs on the main thread and waits for it there;
  // the work is slow, so a sync that did not wait would read the old value.
  // (Inline on the main thread: context_test.)
  std::atomic<int> ranOn{1}, seenAfterSync{0};
  std::thread worker([&] {
    MainQueue::sync([&] {
      std::this_thread::sleep_for(20ms);
      ranOn = MainQueue::isMainThread() ? 2 : -1;
    });
    seenAfterSync = ranOn.load();
  });
  ASSERT_TRUE(MainQueue::runUntil([&] { return ranOn != 1; }, 2s));
  worker.join();
  EXPECT_EQ(ranOn, 2);
  EXPECT_EQ(seenAfterSync, 2) << "sync returned before its work ran";

  // Huge and negative delays neither overflow nor run early; runUntil gives up.
  bool late = false, early = false;
  MainQueue::asyncAfter(MainQueue::Clock::duration::max(), [&] { late = true; });
  MainQueue::asyncAfter(-5s, [&] { early = true; });
  auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(MainQueue::runUntil([] { return false; }, 50ms));
  EXPECT_GE(std::chrono::steady_clock::now() - start, 50ms);
  EXPECT_TRUE(early);
  EXPECT_FALSE(late);
}

// A sync on an idle queue runs on the caller's thread yet never beside other
// work of the queue; work runs in order. (A nested sync: context_test.)
TEST(SerialQueue, RunsInOrderAndSyncRunsInlineReentrantAndAlone) {
  SerialQueue queue("test");  // idle: a new queue
  std::thread::id ranOn;
  bool afterInline = false;
  std::atomic<bool> asyncRan{false};
  queue.sync([&] {
    ranOn = std::this_thread::get_id();
    queue.async([&] {
      EXPECT_TRUE(afterInline) << "queued work ran beside the inline work";
      asyncRan = true;
    });
    std::this_thread::sleep_for(20ms);
    afterInline = true;
  });
  EXPECT_EQ(ranOn, std::this_thread::get_id());
  queue.sync([] {});  // waits behind the queued work
  EXPECT_TRUE(asyncRan);

  std::vector<int> order, expected(100);
  std::iota(expected.begin(), expected.end(), 0);
  for (int i : expected) queue.async([&, i] { order.push_back(i); });
  queue.sync([&] { EXPECT_TRUE(queue.isCurrent()); });
  EXPECT_EQ(order, expected);
  EXPECT_FALSE(queue.isCurrent());

  std::atomic<int> inside{0}, overlaps{0};
  auto alone = [&] {
    if (inside.fetch_add(1) != 0) ++overlaps;
    inside.fetch_sub(1);
  };
  std::vector<std::thread> callers;
  for (int t = 0; t < 4; ++t) {
    callers.emplace_back([&] {
      for (int i = 0; i < 200; ++i) {
        queue.sync(alone);
        queue.async(alone);
      }
    });
  }
  for (auto& caller : callers) caller.join();
  queue.sync([] {});
  EXPECT_EQ(overlaps.load(), 0);
}

// Observers get only their name and sender, nothing after removal, and
// removal waits for a callback that is running on another thread.
TEST(NotificationCenter, DeliversByNameAndSenderAndRemovalWaitsForARunningCallback) {
  auto& center = NotificationCenter::defaultCenter();
  int a = 0, b = 0, senderA = 0, senderB = 0;
  auto anySender = center.addObserver("n", nullptr, [&](const Notification&) { ++a; });
  auto onlyB = center.addObserver("n", &senderB, [&](const Notification& n) {
    EXPECT_EQ(std::any_cast<int>(n.userInfo), 7);
    ++b;
  });
  center.post("n", &senderA, 7);
  center.post("n", &senderB, 7);
  center.post("other", &senderB, 7);
  EXPECT_EQ(std::pair(a, b), std::pair(2, 1));
  center.removeObserver(anySender);
  center.removeObserver(onlyB);
  center.post("n", &senderB, 7);
  EXPECT_EQ(std::pair(a, b), std::pair(2, 1)) << "delivered after removal";

  std::atomic<bool> inside{false}, release{false}, finished{false};
  auto token = center.addObserver("slow", nullptr, [&](const Notification&) {
    inside = true;
    while (!release) std::this_thread::yield();
    finished = true;
  });
  std::thread poster([&] { center.post("slow"); });
  while (!inside) std::this_thread::yield();
  std::thread releaser([&] {
    std::this_thread::sleep_for(20ms);
    release = true;
  });
  center.removeObserver(token);
  EXPECT_TRUE(finished) << "removeObserver returned while the callback still ran";
  poster.join();
  releaser.join();
}

// stdout's bytes written while `body` runs.
std::string stdoutDuring(const std::function<void()>& body) {
  ::testing::internal::CaptureStdout();
  body();
  return ::testing::internal::GetCapturedStdout();
}

std::string threadLine(int t, int i) {
  return "thread " + std::to_string(t) + " line " + std::to_string(i) + std::string(40, 'x');
}

// Captures nest; a host sink gets each line whole, one at a time, in each
// thread's order, also while a capture is on; without a sink lines go to stdout.
TEST(Console, CapturesNestAndAHostSinkGetsWholeLinesOneAtATime) {
  // Captures record lines instead of printing them; the innermost one wins.
  std::string printed = stdoutDuring([] {
    ConsoleCapture outer;
    Console::log("one");
    {
      ConsoleCapture inner;
      Console::log("two");
      EXPECT_EQ(inner.lines(), std::vector<std::string>{"two"});
    }
    Console::log("three");
    EXPECT_EQ(outer.lines(), (std::vector<std::string>{"one", "three"}));
  });
  EXPECT_EQ(printed, "");

  std::mutex mutex;
  std::vector<std::string> received;
  std::atomic<int> inside{0};
  std::atomic<bool> overlapped{false};
  Console::setSink([&](std::string_view line) {
    if (++inside > 1) overlapped = true;
    {
      std::lock_guard lock(mutex);
      received.emplace_back(line);
    }
    std::this_thread::yield();
    --inside;
  });
  constexpr int kThreads = 6, kEach = 300;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([t] {
      for (int i = 0; i < kEach; ++i) Console::log(threadLine(t, i));
    });
  for (auto& thread : threads) thread.join();
  EXPECT_FALSE(overlapped) << "the sink ran for two lines at once";
  ASSERT_EQ(received.size(), static_cast<std::size_t>(kThreads * kEach));
  std::vector<int> next(kThreads, 0);
  for (const auto& line : received) {
    int t = -1, i = -1;
    ASSERT_EQ(std::sscanf(line.c_str(), "thread %d line %d", &t, &i), 2) << line;
    ASSERT_TRUE(t >= 0 && t < kThreads);
    EXPECT_EQ(i, next[t]++) << "each thread's lines arrive in order";
    EXPECT_EQ(line, threadLine(t, i));
  }

  // A capture (a demo keeping stdout clean) does not hide lines from the sink.
  received.clear();
  {
    ConsoleCapture capture;
    Console::log("captured");
    EXPECT_TRUE(capture.contains("captured"));
  }
  EXPECT_EQ(received, std::vector<std::string>{"captured"});

  Console::setSink(nullptr);
  received.clear();
  EXPECT_EQ(stdoutDuring([] { Console::log("back on stdout"); }), "back on stdout\n");
  EXPECT_TRUE(received.empty());
}

// Pinning the clock or the documents folder for a test is undone by nullopt.
TEST(HostEnvironment, PinnedClockAndDocumentsReturnToTheSystemValues) {
  Date pinned = dateFromSeconds(1429609260);  // 2015-04-21 09:41Z
  Clock::setNowForTesting(pinned);
  EXPECT_EQ(Clock::now(), pinned);
  Clock::setNowForTesting(std::nullopt);
  EXPECT_GT(Clock::now(), pinned);

  const auto documents = HostEnvironment::documentsDirectory();
  HostEnvironment::setDocumentsDirectory("/tmp/docs");
  EXPECT_EQ(HostEnvironment::documentsDirectory(), "/tmp/docs");
  HostEnvironment::setDocumentsDirectory(std::nullopt);
  EXPECT_EQ(HostEnvironment::documentsDirectory(), documents);
}

}  // namespace
