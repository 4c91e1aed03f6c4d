// Median cost of one request, from request() to its handler on the main queue:
// answered locally, and sent over loopback to the sample service. The baseline
// is parsing the same reply body with Boost.JSON alone, measured in the same
// run; the ratios say what the library adds on top of the parse.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <vector>

#include <boost/json/parse.hpp>

#include "orbelin/networking/networking.h"
#include "orbelin/platform/main_queue.h"
#include "support/sample_service.h"

namespace {

using Clock = std::chrono::steady_clock;
using TamberNetworking::DataSourceManager;

// GET of one path, or its local resource "reply.json".
struct BenchCall : TamberNetworking::DataSourceRequest, TamberNetworking::RequestMatching {
  std::string path;
  TamberNetworking::URLRequest urlRequestWithBaseURLString(
      std::optional<std::string> base) const override {
    return TamberNetworking::URLRequest(base.value_or("") + path);
  }
  TamberNetworking::Response responseForURLRequest(
      const TamberNetworking::URLRequest&) const override {
    return TamberNetworking::Response().withResource("allTasks", "json");
  }
};

double medianMicroseconds(int rounds, const std::function<void()>& once) {
  std::vector<double> samples;
  samples.reserve(static_cast<std::size_t>(rounds));
  for (int i = 0; i < rounds; ++i) {
    auto start = Clock::now();
    once();
    samples.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
  }
  std::nth_element(samples.begin(), samples.begin() + rounds / 2, samples.end());
  return samples[static_cast<std::size_t>(rounds / 2)];
}

// One request, waited for on the main queue.
bool roundTrip(const BenchCall& call) {
  bool done = false, ok = false;
  DataSourceManager::request(call)->responseJSON([&](auto, auto, auto json, auto error) {
    ok = !error && json["allTasks"].isArray();
    done = true;
  });
  orbelin::platform::MainQueue::runUntil([&] { return done; }, std::chrono::seconds(10));
  return ok;
}

std::string readFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

}  // namespace

int main() {
  const std::filesystem::path sample =
      std::filesystem::path(ORBELIN_SOURCE_DIR) / "resources" / "sample";
  const std::string body = readFile(sample / "allTasks.json");
  if (body.empty()) {
    std::fprintf(stderr, "no sample reply at %s\n", (sample / "allTasks.json").c_str());
    return 1;
  }
  DataSourceManager::setResourceRoot(sample);
  constexpr int kRounds = 2000;
  bool allOk = true;

  const double parse = medianMicroseconds(kRounds, [&] {
    boost::system::error_code error;
    auto value = boost::json::parse(body, error);
    allOk = allOk && !error && value.is_object();
  });

  BenchCall call;
  call.path = "/api/tasks";
  DataSourceManager::setLocalMode(true);
  roundTrip(call);  // warm-up
  const double local = medianMicroseconds(kRounds, [&] { allOk = roundTrip(call) && allOk; });

  orbelin::test::SampleService service(
      sample, std::filesystem::path(ORBELIN_SOURCE_DIR) / "resources" / "Info.plist");
  if (!service.running()) {
    std::fprintf(stderr, "sample service: %s\n", service.failure().c_str());
    return 1;
  }
  DataSourceManager::setLocalMode(false);
  DataSourceManager::setBaseURLString(service.baseUrl());
  for (int i = 0; i < 20; ++i) roundTrip(call);  // warm-up: connection and server threads
  const double remote = medianMicroseconds(kRounds / 4, [&] { allOk = roundTrip(call) && allOk; });

  std::printf("reply body: %zu bytes (allTasks.json)\n", body.size());
  std::printf("baseline  Boost.JSON parse only      median %9.1f us\n", parse);
  std::printf("local     request -> main-queue handler median %9.1f us  (%.1fx baseline)\n", local,
              local / parse);
  std::printf("loopback  request -> main-queue handler median %9.1f us  (%.1fx baseline)\n", remote,
              remote / parse);
  if (!allOk) std::printf("warning: some requests failed\n");
  return allOk ? 0 : 1;
}
