#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "orbelin/config/data_source_manager.h"
#include "orbelin/dates/date_utils.h"
#include "orbelin/platform/clock.h"
#include "orbelin/platform/host_environment.h"
#include "orbelin/platform/main_queue.h"
#include "orbelin/stores/stores.h"
#include "support/test_support.h"

namespace orbelin::test {

// Catches every call of a store's completion handler, with the thread it ran
// on, so a test can insist on exactly one call on the main queue.
template <typename... Args>
class Caught {
 public:
  auto handler() {
    return [state = state_](Args... args) {
      state->calls += 1;
      state->onMainThread = platform::MainQueue::isMainThread();
      state->values.emplace(std::move(args)...);
    };
  }
  // Drains the main queue until the first call (false on timeout), then a
  // little longer so that a second call would be seen.
  bool wait() {
    bool called = runMainQueueUntil([state = state_] { return state->calls > 0; });
    platform::MainQueue::runFor(std::chrono::milliseconds(20));
    return called;
  }
  int calls() const { return state_->calls; }
  bool onMainThread() const { return state_->onMainThread; }
  // Throws (a test failure, not a crash) when the handler never ran.
  std::tuple<Args...>& get() { return state_->values.value(); }
  template <std::size_t I>
  auto& at() {
    return std::get<I>(get());
  }

 private:
  struct State {
    int calls = 0;
    bool onMainThread = false;
    std::optional<std::tuple<Args...>> values;
  };
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

template <typename Handler>
struct CaughtFor;
template <typename... Args>
struct CaughtFor<std::function<void(Args...)>> {
  using type = Caught<Args...>;
};

// Starts a store call with a new handler (its last parameter) and waits for
// it: called once, never inside the call itself, and on the main queue.
template <typename... Params, typename... Given>
auto fetch(StoreRequest (*start)(Params...), Given&&... given) {
  using Handler = std::decay_t<std::tuple_element_t<sizeof...(Params) - 1, std::tuple<Params...>>>;
  typename CaughtFor<Handler>::type caught;
  start(std::forward<Given>(given)..., caught.handler());
  EXPECT_EQ(caught.calls(), 0) << "never called inside the call that starts the request";
  EXPECT_TRUE(caught.wait());
  EXPECT_EQ(caught.calls(), 1);
  EXPECT_TRUE(caught.onMainThread());
  return caught;
}

// Every test starts in local mode on the sample hospital, with the bundled
// Info.plist, and with the clock at today 09:41 (the time the sample data is
// written against) in UTC: which sample tasks fall before 09:41 depends on
// the zone, as the simulated dates take back only whole hours of its offset.
class StoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    DataSourceManager::resetToDefaults();
    ASSERT_TRUE(platform::HostEnvironment::loadInfoPlist(bundledInfoPlist()));
    DateUtils::setTimeZone("UTC");
    platform::Clock::setNowForTesting(DateUtils::makeTodayDateWithTime941());
    useLocal(sampleResourcesDir());
  }
  void TearDown() override {
    platform::MainQueue::runFor(std::chrono::milliseconds(5));
    platform::Clock::setNowForTesting(std::nullopt);
    DateUtils::setTimeZone(std::nullopt);
    DataSourceManager::resetToDefaults();
    platform::HostEnvironment::setInfoDictionary(std::nullopt);
  }

  static void useLocal(const std::filesystem::path& root) {
    DataSourceManager::setResourceRoot(root);
    DataSourceManager::setLocalMode(true);
  }
  static void useRemote(const std::string& baseUrl) {
    DataSourceManager::setBaseURLString(baseUrl);
    DataSourceManager::setLocalMode(false);
  }
};

template <typename Record>
std::vector<std::int64_t> idsOf(const std::vector<Record*>& records) {
  std::vector<std::int64_t> ids;
  for (const Record* record : records) ids.push_back(record->id().value_or(-1));
  return ids;
}

}  // namespace orbelin::test
