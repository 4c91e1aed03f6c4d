#pragma once

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "orbelin/dates/date_utils.h"
#include "orbelin/graph/context.h"
#include "orbelin/networking/json.h"
#include "orbelin/platform/clock.h"
#include "orbelin/records/records.h"
#include "orbelin/stack/core_data_stack.h"

namespace orbelin::test {

// Each test imports into a fresh context on the shared stack's coordinator,
// with "now" pinned to 14 June 2026 15:00 UTC and the calendar in UTC.
class RecordsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    DateUtils::setTimeZone("UTC");
    platform::Clock::setNowForTesting(now());
    auto& stack = CoreDataStack::sharedInstance();
    context_ = std::make_shared<graph::ManagedObjectContext>(graph::ConcurrencyType::Confinement);
    context_->setPersistentStoreCoordinator(stack.persistentStoreCoordinator());
    stack.setManagedObjectContext(context_);
  }
  void TearDown() override {
    platform::Clock::setNowForTesting(std::nullopt);
    DateUtils::setTimeZone(std::nullopt);
  }

  static Date now() { return utc("2026-06-14T15:00:00Z"); }
  static Date utc(const char* text) { return *TamberNetworking::parseISO8601Date(text); }
  static TamberNetworking::JSON json(const std::string& text) {
    auto parsed = TamberNetworking::JSON::parse(text);
    EXPECT_TRUE(parsed.ok()) << text;
    return parsed.ok() ? *parsed : TamberNetworking::JSON();
  }
  // Number of records of an entity in the test's context.
  std::size_t count(const std::string& entityName) {
    auto result = context_->count(graph::FetchRequest(entityName));
    return result.ok() ? *result : 0;
  }

  std::shared_ptr<graph::ManagedObjectContext> context_;
};

}  // namespace orbelin::test
