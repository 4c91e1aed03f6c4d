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
  TamberNetworking::HeaderFields headers;
  std::string resource = "allTasks";

  TamberNetworking::URLRequest urlRequestWithBaseURLString(
      std::optional<std::string> base) const override {
    TamberNetworking::URLRequest request(base.value_or("") + path, method);
    request.body = body;
    request.headers = headers;
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
  using RequestPtr = std::shared_ptr<TamberNetworking::Request>;
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
    auto started =
        std::make_unique<SampleService>(resources.path(), bundledInfoPlist(), std::move(options));
    EXPECT_TRUE(started->running()) << started->failure();
    return started;
  }
  static void use(const SampleService& service) {
    DataSourceManager::setBaseURLString(service.baseUrl());
    DataSourceManager::setLocalMode(false);
  }
  // Starts the fixture's service once and points the manager at it in remote mode.
  SampleService& remote() {
    if (!service) service = start();
    use(*service);
    return *service;
  }
  // Waits for the one delivery of `request`, as JSON or as text.
  static Outcome json(const RequestPtr& request) {
    Outcome outcome;
    request->responseJSON(outcome.jsonHandler());
    return waited(outcome);
  }
  // Hands a text handler to `send`, for calls that take one, and waits likewise.
  template <typename Send>
  static Outcome delivered(Send send) {
    Outcome outcome;
    send(outcome.stringHandler());
    return waited(outcome);
  }
  static Outcome text(const RequestPtr& request) {
    return delivered([&](auto handler) { request->responseString(handler); });
  }
  static Outcome json(const PathCall& call, Check check = kAnyStatus) {
    return json(checked(call, check));
  }
  static Outcome text(const PathCall& call, Check check = kAnyStatus) {
    return text(checked(call, check));
  }

  TempDir resources;
  std::unique_ptr<SampleService> service;

 private:
  static RequestPtr checked(const PathCall& call, Check check) {
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
