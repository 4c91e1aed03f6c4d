// One request of the networking library, from request() to its handler on
// the main queue, with a small reply body (the sample's allTasks.json),
// against Boost.JSON parsing that body: answered from the local resource,
// and over loopback by the sample service.

#include <cstdio>
#include <cstdlib>

#include <boost/json.hpp>

#include "orbelin/networking/networking.h"
#include "rows.h"
#include "sample.h"
#include "support/sample_service.h"

namespace orbelin::bench {

namespace {

using TamberNetworking::DataSourceManager;

// GET of the sample's task list, or its local resource allTasks.json.
struct TaskListCall : TamberNetworking::DataSourceRequest, TamberNetworking::RequestMatching {
  TamberNetworking::URLRequest urlRequestWithBaseURLString(
      std::optional<std::string> base) const override {
    return TamberNetworking::URLRequest(base.value_or("") + "/api/tasks");
  }
  TamberNetworking::Response responseForURLRequest(
      const TamberNetworking::URLRequest&) const override {
    return TamberNetworking::Response().withResource("allTasks", "json");
  }
};

double roundTrip() {
  TaskListCall call;
  return secondsOf([&] {
    bool done = false, ok = false;
    DataSourceManager::request(call)->responseJSON([&](auto, auto, auto reply, auto error) {
      ok = !error && reply["allTasks"].isArray();
      done = true;
    });
    waitOnMainQueue([&] { return done; });
    if (!ok) std::abort();
  });
}

// Requests per timed batch: a single one is too short for the clock.
constexpr int kBatch = 20;

std::vector<double> requestAgainstParse(int reps) {
  const std::string body = readFile(sampleResources() / "allTasks.json");
  auto ours = [] {
    double seconds = 0;
    for (int i = 0; i < kBatch; ++i) seconds += roundTrip();
    return seconds;
  };
  auto baseline = [&] {
    return secondsOf([&] {
      for (int i = 0; i < kBatch; ++i)
        if (!boost::json::parse(body).is_object()) std::abort();
    });
  };
  return interleaved(reps, {ours, baseline});
}

}  // namespace

void localRequest(const Options& options) {
  DataSourceManager::setResourceRoot(sampleResources());
  DataSourceManager::setLocalMode(true);
  auto medians = requestAgainstParse(options.reps(101, 15));
  reportTiming("local request to its handler, small body (24 KB) vs Boost.JSON parse of it",
               medians[0], medians[1], 10, kBatch);
}

void loopbackRequest(const Options& options) {
  test::SampleService service(sampleResources(), infoPlist());
  if (!service.running()) {
    std::fprintf(stderr, "sample service: %s\n", service.failure().c_str());
    std::abort();
  }
  DataSourceManager::setLocalMode(false);
  DataSourceManager::setBaseURLString(service.baseUrl());
  auto medians = requestAgainstParse(options.reps(41, 7));
  reportTiming("  the same request over loopback vs Boost.JSON parse of its body", medians[0],
               medians[1], 0, kBatch);
}

}  // namespace orbelin::bench
