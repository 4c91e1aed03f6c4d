#include "sample.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "orbelin/networking/data_source_manager.h"
#include "orbelin/platform/host_environment.h"
#include "orbelin/platform/main_queue.h"
#include "orbelin/stores2/patient2_store.h"

namespace orbelin::bench {

namespace fs = std::filesystem;

fs::path sampleResources() {
  return fs::path(ORBELIN_SOURCE_DIR) / "resources" / "sample";
}

fs::path infoPlist() {
  return fs::path(ORBELIN_SOURCE_DIR) / "resources" / "Info.plist";
}

std::string readFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (text.empty()) {
    std::fprintf(stderr, "nothing to read at %s\n", path.c_str());
    std::abort();
  }
  return text;
}

SamplePatient largestSamplePatient() {
  fs::path largest;
  for (const auto& entry : fs::directory_iterator(sampleResources() / "hospital" / "patients"))
    if (largest.empty() || entry.file_size() > fs::file_size(largest)) largest = entry.path();
  std::string stem = largest.stem().string();  // "patient.<id>"
  return {stem.substr(stem.find('.') + 1), readFile(largest)};
}

void waitOnMainQueue(const std::function<bool()>& done, int seconds) {
  if (!platform::MainQueue::runUntil(done, std::chrono::seconds(seconds))) {
    std::fprintf(stderr, "no completion within %d s\n", seconds);
    std::abort();
  }
}

void useDocuments(const fs::path& folder) {
  fs::create_directories(folder);
  platform::HostEnvironment::setDocumentsDirectory(folder);
}

SamplePatient useLocalSample(const fs::path& documents) {
  useDocuments(documents);
  TamberNetworking::DataSourceManager::setResourceRoot(sampleResources());
  TamberNetworking::DataSourceManager::setLocalMode(true);
  return largestSamplePatient();
}

void downloadPatient(const std::string& patientId) {
  bool done = false, ok = false;
  Patient2Store::downloadPatient(patientId, [&](model2::Patient2* patient, auto error) {
    ok = patient != nullptr && !error;
    done = true;
  });
  waitOnMainQueue([&] { return done; });
  if (!ok) {
    std::fprintf(stderr, "the download of patient %s failed\n", patientId.c_str());
    std::abort();
  }
}

}  // namespace orbelin::bench
