#pragma once

// What the client tests share: a call on a path of the base URL (read from a
// resource in local mode), a fixture that resets the manager around each test
// and serves a folder of its own, and sending a call to wait for its delivery.

#include <memory>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "networking/networking_test_support.h"
#include "support/sample_service.h"

namespace orbelin::test {

struct PathCall : TamberNetworking::DataSourceRequest, TamberNetworking::RequestMatching {
  std::string path;
  std::string method = "GET";
  std::optional<std::string> body;
  std::string resource = "allTasks";

  TamberNetworking::URLRequest urlRequestWithBaseURLString(
      std::optional<std::string> base) const override {
    TamberNetworking::URLRequest request(base.value_or("") + path, method);
    request.body = body;
    return request;
  }
  TamberNetworking::Response responseForURLRequest(
      const TamberNetworking::URLRequest&) const override {
    return TamberNetworking::Response().withResource(resource, "json");
  }
};

inline PathCall pathCall(std::string path, std::string method = "GET",
                         std::optional<std::string> body = std::nullopt) {
  PathCall call;
  call.path = std::move(path);
  call.method = std::move(method);
  call.body = std::move(body);
  return call;
}

class ClientTest : public ::testing::Test {
 protected:
  using DataSourceManager = TamberNetworking::DataSourceManager;
  enum Check { kAnyStatus, kValidated };

  void SetUp() override {
    DataSourceManager::resetToDefaults();
    DataSourceManager::setResourceRoot(resources.path());
  }
  void TearDown() override {
    platform::MainQueue::drain();
    DataSourceManager::resetToDefaults();
  }
  // A sample service serving `resources`, checked to run.
  std::unique_ptr<SampleService> start(SampleService::Options options = {}) {
    auto service =
        std::make_unique<SampleService>(resources.path(), bundledInfoPlist(), std::move(options));
    EXPECT_TRUE(service->running()) << service->failure();
    return service;
  }
  static void use(const SampleService& service) {
    DataSourceManager::setBaseURLString(service.baseUrl());
    DataSourceManager::setLocalMode(false);
  }
  // Sends `call` and waits for its one delivery, as JSON or as text.
  static Outcome json(const PathCall& call, Check check = kAnyStatus) {
    Outcome outcome;
    checked(call, check)->responseJSON(outcome.jsonHandler());
    return waited(outcome);
  }
  static Outcome text(const PathCall& call, Check check = kAnyStatus) {
    Outcome outcome;
    checked(call, check)->responseString(outcome.stringHandler());
    return waited(outcome);
  }

  TempDir resources;

 private:
  static std::shared_ptr<TamberNetworking::Request> checked(const PathCall& call, Check check) {
    auto request = DataSourceManager::request(call);
    return check == kValidated ? request->validate() : request;
  }
  static Outcome waited(Outcome& outcome) {
    EXPECT_TRUE(outcome.wait());
    EXPECT_EQ(outcome.calls, 1);
    return outcome;
  }
};

}  // namespace orbelin::test
