#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <plist/plist.h>

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

TEST(MainQueue, RunsWorkInOrderOnTheMainThreadOnlyWhenDrained) {
  std::vector<int> order;
  std::thread producer([&] {
    MainQueue::asyncAfter(30ms, [&] { order.push_back(3); });
    MainQueue::async([&] { order.push_back(1); });
    MainQueue::async([&] { order.push_back(2); });
  });
  producer.join();
  EXPECT_TRUE(order.empty()) << "nothing runs before the host drains";
  bool onMain = true;
  MainQueue::async([&] { onMain = MainQueue::isMainThread(); });
  ASSERT_TRUE(MainQueue::runUntil([&] { return order.size() == 3; }, 2s));
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
  EXPECT_TRUE(onMain);
  EXPECT_EQ(MainQueue::pendingCount(), 0u);
}

TEST(MainQueue, SyncFromAnotherThreadWaitsForTheMainThreadAndRunsInlineOnIt) {
  int ranOn = 0;
  MainQueue::sync([&] { ranOn = 1; });
  EXPECT_EQ(ranOn, 1) << "sync on the main thread runs inline";
  std::atomic<bool> finished{false};
  std::thread worker([&] {
    MainQueue::sync([&] { ranOn = MainQueue::isMainThread() ? 2 : -1; });
    finished = true;
  });
  ASSERT_TRUE(MainQueue::runUntil([&] { return finished.load(); }, 2s));
  worker.join();
  EXPECT_EQ(ranOn, 2);
}

TEST(MainQueue, HugeAndNegativeDelaysNeitherOverflowNorRunEarly) {
  bool late = false, early = false;
  MainQueue::asyncAfter(MainQueue::Clock::duration::max(), [&] { late = true; });
  MainQueue::asyncAfter(-5s, [&] { early = true; });
  MainQueue::runFor(20ms);
  EXPECT_TRUE(early);
  EXPECT_FALSE(late);
}

TEST(MainQueue, RunUntilGivesUpAtTheTimeout) {
  auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(MainQueue::runUntil([] { return false; }, 50ms));
  EXPECT_GE(std::chrono::steady_clock::now() - start, 50ms);
}

TEST(SerialQueue, RunsInOrderOffTheCallerAndSyncIsReentrant) {
  SerialQueue queue("test");
  std::vector<int> order;
  for (int i = 0; i < 100; ++i) queue.async([&, i] { order.push_back(i); });
  bool nestedRanInline = false;
  queue.sync([&] {
    EXPECT_TRUE(queue.isCurrent());
    queue.sync([&] { nestedRanInline = true; });
  });
  EXPECT_TRUE(nestedRanInline);
  ASSERT_EQ(order.size(), 100u);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(order[static_cast<size_t>(i)], i);
  EXPECT_FALSE(queue.isCurrent());
}

// A sync on an idle queue runs on the caller's thread, yet never beside
// other work of the queue: work queued from inside it waits until it ends,
// and syncs from many threads at once each run alone.
TEST(SerialQueue, SyncOnAnIdleQueueRunsInlineAndAlone) {
  SerialQueue queue("test");
  std::thread::id ranOn;
  bool afterInline = false;
  std::atomic<bool> asyncRan{false};
  queue.sync([&] {
    ranOn = std::this_thread::get_id();
    queue.async([&] {
      EXPECT_TRUE(afterInline) << "queued work ran beside the inline work";
      asyncRan = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    afterInline = true;
  });
  EXPECT_EQ(ranOn, std::this_thread::get_id());
  queue.sync([] {});  // waits behind the queued work
  EXPECT_TRUE(asyncRan);

  std::atomic<int> inside{0};
  std::atomic<int> overlaps{0};
  std::vector<std::thread> callers;
  for (int t = 0; t < 4; ++t) {
    callers.emplace_back([&] {
      for (int i = 0; i < 200; ++i) {
        queue.sync([&] {
          if (inside.fetch_add(1) != 0) ++overlaps;
          inside.fetch_sub(1);
        });
        queue.async([&] {
          if (inside.fetch_add(1) != 0) ++overlaps;
          inside.fetch_sub(1);
        });
      }
    });
  }
  for (auto& caller : callers) caller.join();
  queue.sync([] {});
  EXPECT_EQ(overlaps.load(), 0);
}

TEST(NotificationCenter, DeliversByNameAndSenderAndStopsAfterRemoval) {
  auto& center = NotificationCenter::defaultCenter();
  int a = 0, b = 0;
  int senderA = 0, senderB = 0;
  auto anySender = center.addObserver("n", nullptr, [&](const Notification&) { ++a; });
  auto onlyB = center.addObserver("n", &senderB, [&](const Notification& n) {
    EXPECT_EQ(std::any_cast<int>(n.userInfo), 7);
    ++b;
  });
  center.post("n", &senderA, 7);
  center.post("n", &senderB, 7);
  center.post("other", &senderB, 7);
  EXPECT_EQ(a, 2);
  EXPECT_EQ(b, 1);
  center.removeObserver(anySender);
  center.removeObserver(onlyB);
  center.post("n", &senderB, 7);
  EXPECT_EQ(a, 2);
  EXPECT_EQ(b, 1);
}

TEST(NotificationCenter, RemovalWaitsForACallbackRunningOnAnotherThread) {
  auto& center = NotificationCenter::defaultCenter();
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

TEST(Console, CaptureRecordsLinesInsteadOfPrinting) {
  ConsoleCapture outer;
  Console::log("one");
  {
    ConsoleCapture inner;
    Console::log("two");
    EXPECT_EQ(inner.lines(), std::vector<std::string>{"two"});
  }
  Console::log("three");
  EXPECT_EQ(outer.lines(), (std::vector<std::string>{"one", "three"}));
  EXPECT_TRUE(outer.contains("three"));
}

// stdout's bytes written while `body` runs.
std::string stdoutDuring(const std::function<void()>& body) {
  orbelin::test::TempDir scratch;
  const auto path = scratch.path() / "stdout.txt";
  std::fflush(stdout);
  int saved = ::dup(STDOUT_FILENO);
  FILE* file = std::fopen(path.c_str(), "w");
  ::dup2(::fileno(file), STDOUT_FILENO);
  body();
  std::fflush(stdout);
  ::dup2(saved, STDOUT_FILENO);
  ::close(saved);
  std::fclose(file);
  std::ifstream in(path);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

TEST(Console, AHostSinkGetsWholeLinesOneAtATimeAndStdoutIsTheDefault) {
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
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < kEach; ++i)
        Console::log("thread " + std::to_string(t) + " line " + std::to_string(i) +
                     std::string(40, 'x'));
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_FALSE(overlapped) << "the sink ran for two lines at once";
  ASSERT_EQ(received.size(), static_cast<std::size_t>(kThreads * kEach));
  std::vector<int> next(kThreads, 0);
  for (const auto& line : received) {
    int t = -1, i = -1;
    ASSERT_EQ(std::sscanf(line.c_str(), "thread %d line %d", &t, &i), 2) << line;
    ASSERT_TRUE(t >= 0 && t < kThreads);
    EXPECT_EQ(i, next[t]++) << "each thread's lines arrive in order";
    EXPECT_EQ(line,
              "thread " + std::to_string(t) + " line " + std::to_string(i) + std::string(40, 'x'));
  }

  // A capture (a demo keeping stdout clean) does not hide lines from the sink.
  received.clear();
  {
    ConsoleCapture capture;
    Console::log("captured");
    EXPECT_TRUE(capture.contains("captured"));
  }
  EXPECT_EQ(received, std::vector<std::string>{"captured"});

  // A sink that logs itself does not deadlock: its own line goes to stdout.
  Console::setSink([&](std::string_view line) {
    received.emplace_back(line);
    Console::log("about " + std::string(line));
  });
  std::string printed = stdoutDuring([] { Console::log("nested"); });
  EXPECT_EQ(printed, "about nested\n");

  Console::setSink(nullptr);
  received.clear();
  printed = stdoutDuring([] { Console::log("back on stdout"); });
  EXPECT_EQ(printed, "back on stdout\n");
  EXPECT_TRUE(received.empty());
}

TEST(Clock, PinnedNowAndReturnToTheSystemClock) {
  Date pinned = dateFromSeconds(1429609260);  // 2015-04-21 09:41Z
  Clock::setNowForTesting(pinned);
  EXPECT_EQ(Clock::now(), pinned);
  Clock::setNowForTesting(std::nullopt);
  EXPECT_GT(Clock::now(), pinned);
}

namespace {
void writeFile(const std::filesystem::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}
}  // namespace

TEST(HostEnvironment, ReadsXmlAndBinaryInfoPlistsAndRejectsOthers) {
  test::TempDir dir;
  const std::string xml = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0"><dict>
  <key>CFBundleShortVersionString</key><string>2.1</string>
  <key>DataSourcePaths</key><dict><key>Patient</key><string>/patients/{patientId}</string></dict>
  <key>Flag</key><true/><key>Count</key><integer>3</integer>
</dict></plist>)";
  writeFile(dir.path() / "Info.plist", xml);
  ASSERT_TRUE(HostEnvironment::loadInfoPlist(dir.path() / "Info.plist").ok());
  auto info = HostEnvironment::infoDictionary();
  ASSERT_TRUE(info);
  EXPECT_EQ(info->at("CFBundleShortVersionString").as_string(), "2.1");
  EXPECT_EQ(info->at("DataSourcePaths").at("Patient").as_string(), "/patients/{patientId}");
  EXPECT_EQ(info->at("Flag").as_bool(), true);

  // The same dictionary written as a binary plist reads back the same.
  plist_t root = nullptr;
  plist_from_xml(xml.data(), static_cast<uint32_t>(xml.size()), &root);
  char* bin = nullptr;
  uint32_t length = 0;
  plist_to_bin(root, &bin, &length);
  writeFile(dir.path() / "Binary.plist", std::string(bin, length));
  std::free(bin);
  plist_free(root);
  HostEnvironment::setInfoDictionary(std::nullopt);
  ASSERT_TRUE(HostEnvironment::loadInfoPlist(dir.path() / "Binary.plist").ok());
  EXPECT_EQ(*HostEnvironment::infoDictionary(), *info);

  // Bad input leaves the loaded dictionary in place and reports an error.
  writeFile(dir.path() / "garbage.plist", "not a plist at all");
  writeFile(dir.path() / "array.plist",
            "<?xml version=\"1.0\"?><plist version=\"1.0\"><array/></plist>");
  EXPECT_FALSE(HostEnvironment::loadInfoPlist(dir.path() / "garbage.plist").ok());
  EXPECT_FALSE(HostEnvironment::loadInfoPlist(dir.path() / "array.plist").ok());
  EXPECT_FALSE(HostEnvironment::loadInfoPlist(dir.path() / "missing.plist").ok());
  EXPECT_EQ(*HostEnvironment::infoDictionary(), *info);
  HostEnvironment::setInfoDictionary(std::nullopt);
}

TEST(HostEnvironment, DocumentsDirectoryAndDeviceModelAreSettable) {
  EXPECT_FALSE(HostEnvironment::documentsDirectory().empty());
  HostEnvironment::setDocumentsDirectory("/tmp/docs");
  EXPECT_EQ(HostEnvironment::documentsDirectory(), "/tmp/docs");
  HostEnvironment::setDocumentsDirectory(std::nullopt);
  EXPECT_EQ(HostEnvironment::deviceModel(), "Linux");
  HostEnvironment::setDeviceModel("iPhone");
  EXPECT_EQ(HostEnvironment::deviceModel(), "iPhone");
  HostEnvironment::setDeviceModel("Linux");
}
