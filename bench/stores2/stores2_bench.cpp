// Median cost of Patient2Store::downloadPatient for the largest sample
// patient, from the call to its completion handler on the main queue: the
// request, the import of every nested record into the object store's
// background context, the save and its merge into the main context. Answered
// locally and over loopback from the sample service. The baseline is parsing
// the same reply text into a dictionary alone, measured in the same run; the
// ratios say what the download adds on top of the parse.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <vector>

#include "orbelin/networking/data_source_manager.h"
#include "orbelin/platform/console.h"
#include "orbelin/platform/host_environment.h"
#include "orbelin/platform/main_queue.h"
#include "orbelin/stores2/patient2_store.h"
#include "orbelin/text/json_text.h"
#include "support/sample_service.h"
#include "support/test_support.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using TamberNetworking::DataSourceManager;

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

// One download, waited for on the main queue.
bool download(const std::string& patientId) {
  bool done = false, ok = false;
  orbelin::Patient2Store::downloadPatient(patientId, [&](auto* patient, auto error) {
    ok = patient != nullptr && !error;
    done = true;
  });
  orbelin::platform::MainQueue::runUntil([&] { return done; }, std::chrono::seconds(10));
  return ok;
}

// The id and size of the largest hospital/patients/patient.<id>.json.
std::pair<std::string, std::uintmax_t> largestPatient(const fs::path& folder) {
  std::pair<std::string, std::uintmax_t> largest{"", 0};
  for (const auto& entry : fs::directory_iterator(folder)) {
    auto size = entry.file_size();
    if (size <= largest.second) continue;
    std::string name = entry.path().stem().string();  // "patient.<id>"
    largest = {name.substr(name.find('.') + 1), size};
  }
  return largest;
}

std::string readFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

}  // namespace

int main() {
  const fs::path sample = fs::path(ORBELIN_SOURCE_DIR) / "resources" / "sample";
  const auto [patientId, size] = largestPatient(sample / "hospital" / "patients");
  const std::string text =
      readFile(sample / "hospital" / "patients" / ("patient." + patientId + ".json"));
  if (text.empty()) {
    std::fprintf(stderr, "no sample patient under %s\n", (sample / "hospital").c_str());
    return 1;
  }
  orbelin::test::TempDir documents;
  orbelin::platform::HostEnvironment::setDocumentsDirectory(documents.path());
  DataSourceManager::setResourceRoot(sample);
  orbelin::platform::ConsoleCapture quiet;  // "GET ...", "file url = ..." per download
  constexpr int kRounds = 300;
  bool allOk = true;

  const double parse = medianMicroseconds(
      kRounds * 10, [&] { allOk = orbelin::text::json(text).has_value() && allOk; });

  DataSourceManager::setLocalMode(true);
  download(patientId);  // warm-up: opens the store file
  const double local = medianMicroseconds(kRounds, [&] { allOk = download(patientId) && allOk; });

  orbelin::test::SampleService service(sample,
                                       fs::path(ORBELIN_SOURCE_DIR) / "resources" / "Info.plist");
  if (!service.running()) {
    std::fprintf(stderr, "sample service: %s\n", service.failure().c_str());
    return 1;
  }
  DataSourceManager::setLocalMode(false);
  DataSourceManager::setBaseURLString(service.baseUrl());
  for (int i = 0; i < 10; ++i) download(patientId);  // warm-up: connection and server threads
  const double remote = medianMicroseconds(kRounds, [&] { allOk = download(patientId) && allOk; });

  std::printf("patient %s: %ju bytes of reply text\n", patientId.c_str(), size);
  std::printf("baseline  text::json parse only            median %9.1f us\n", parse);
  std::printf("local     downloadPatient -> completion    median %9.1f us  (%.1fx baseline)\n",
              local, local / parse);
  std::printf("loopback  downloadPatient -> completion    median %9.1f us  (%.1fx baseline)\n",
              remote, remote / parse);
  if (!allOk) std::printf("warning: some downloads failed\n");
  return allOk ? 0 : 1;
}
