// Over loopback, from the sample service: a care team of 50 downloaded with
// StaffMember2Store against the same 50 GETs sent at once with libcurl's
// multi interface alone; and one patient download against parsing its reply.

#include <curl/curl.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>

#include <boost/json.hpp>

#include "orbelin/model2/entities.h"
#include "orbelin/networking/data_source_manager.h"
#include "orbelin/stores2/patient2_store.h"
#include "orbelin/stores2/staff_member2_store.h"
#include "rows.h"
#include "sample.h"
#include "support/sample_service.h"

namespace orbelin::bench {

namespace {

namespace fs = std::filesystem;
namespace json = boost::json;
using TamberNetworking::DataSourceManager;

constexpr int kTeam = 50;

// The sample hospital with staff members 1 ... 50 (the bundled ones and
// copies of the first under the other ids).
fs::path hospitalWithTeam(const fs::path& folder) {
  fs::copy(sampleResources(), folder, fs::copy_options::recursive);
  const fs::path staff = folder / "hospital" / "staffMembers";
  json::object first = json::parse(readFile(staff / "staffMember.1.json")).as_object();
  for (int id = 1; id <= kTeam; ++id) {
    fs::path file = staff / ("staffMember." + std::to_string(id) + ".json");
    if (fs::exists(file)) continue;
    first["staffId"] = std::to_string(id);
    first["firstName"] = "Member" + std::to_string(id);
    std::ofstream(file) << json::serialize(first);
  }
  return folder;
}

model2::Patient2* patientWithTeam() {
  json::array team;
  for (int id = 1; id <= kTeam; ++id)
    team.push_back(json::object{{"entityName", "StaffMember"}, {"staffId", std::to_string(id)}});
  json::object patient{{"entityName", "Patient"},
                       {"patientId", "care-team"},
                       {"firstName", "Ada"},
                       {"lastName", "Lovelace"},
                       {"recoveryPath", json::object{{"entityName", "RecoveryPath"},
                                                     {"careTeam", std::move(team)}}}};
  model2::Patient2* result = Patient2Store::patientFromJSON(json::serialize(patient));
  if (!result) std::abort();
  return result;
}

void downloadTeam(model2::Patient2* patient) {
  bool done = false;
  std::size_t members = 0;
  bool failed = false;
  StaffMember2Store::downloadStaffMembers(patient, [&](auto list, auto error) {
    members = list ? list->size() : 0;
    failed = error.has_value();
    done = true;
  });
  waitOnMainQueue([&] { return done; });
  if (failed || members != kTeam) {
    std::fprintf(stderr, "care team: %zu members%s\n", members, failed ? ", an error" : "");
    std::abort();
  }
}

// GETs of a fixed list of URLs, all at once on one multi handle; handles
// and connections are kept from one round to the next, as a host would.
class CurlBatch {
 public:
  explicit CurlBatch(const std::vector<std::string>& urls) : bodies_(urls.size()) {
    multi_ = curl_multi_init();
    for (std::size_t i = 0; i < urls.size(); ++i) {
      CURL* easy = curl_easy_init();
      curl_easy_setopt(easy, CURLOPT_URL, urls[i].c_str());
      curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &CurlBatch::write);
      curl_easy_setopt(easy, CURLOPT_WRITEDATA, &bodies_[i]);
      easies_.push_back(easy);
    }
  }
  ~CurlBatch() {
    for (CURL* easy : easies_) curl_easy_cleanup(easy);
    curl_multi_cleanup(multi_);
  }
  CurlBatch(const CurlBatch&) = delete;
  CurlBatch& operator=(const CurlBatch&) = delete;

  // Every reply read whole; aborts unless each answered 200 with a body.
  void fetch() {
    for (std::size_t i = 0; i < easies_.size(); ++i) {
      bodies_[i].clear();
      curl_multi_add_handle(multi_, easies_[i]);
    }
    int running = 1;
    while (running > 0) {
      curl_multi_perform(multi_, &running);
      if (running > 0) curl_multi_poll(multi_, nullptr, 0, 1000, nullptr);
    }
    int queued = 0;
    while (CURLMsg* message = curl_multi_info_read(multi_, &queued)) {
      long status = 0;
      curl_easy_getinfo(message->easy_handle, CURLINFO_RESPONSE_CODE, &status);
      if (message->data.result != CURLE_OK || status != 200) std::abort();
    }
    for (std::size_t i = 0; i < easies_.size(); ++i) {
      curl_multi_remove_handle(multi_, easies_[i]);
      if (bodies_[i].empty()) std::abort();
    }
  }

 private:
  static std::size_t write(char* data, std::size_t size, std::size_t count, void* body) {
    static_cast<std::string*>(body)->append(data, size * count);
    return size * count;
  }
  CURLM* multi_ = nullptr;
  std::vector<CURL*> easies_;
  std::vector<std::string> bodies_;
};

}  // namespace

void careTeamDownload(const Options& options) {
  QuietConsole quiet;
  Scratch scratch("care-team");
  useDocuments(scratch.path() / "documents");
  test::SampleService service(hospitalWithTeam(scratch.path() / "hospital"), infoPlist());
  if (!service.running()) {
    std::fprintf(stderr, "sample service: %s\n", service.failure().c_str());
    std::abort();
  }
  DataSourceManager::setLocalMode(false);
  DataSourceManager::setBaseURLString(service.baseUrl());
  model2::Patient2* patient = patientWithTeam();

  // The URLs the store asks for, as the service received them.
  service.reset();
  downloadTeam(patient);
  std::vector<std::string> urls;
  for (const auto& request : service.requests()) urls.push_back(service.baseUrl() + request.path);
  if (urls.size() != kTeam) std::abort();
  CurlBatch curl(urls);

  auto ours = [&] { return secondsOf([&] { downloadTeam(patient); }); };
  auto baseline = [&] { return secondsOf([&] { curl.fetch(); }); };
  auto medians = interleaved(options.reps(41, 7), {ours, baseline});
  reportTiming("downloadStaffMembers, care team of 50, loopback vs 50 concurrent curl multi GETs",
               medians[0], medians[1], 1.5);

  // One patient, the largest of the sample, over the same service.
  const SamplePatient sample = largestSamplePatient();
  auto download = [&] { return secondsOf([&] { downloadPatient(sample.id); }); };
  auto parse = [&] {
    return secondsOf([&] {
      if (!json::parse(sample.text).is_object()) std::abort();
    });
  };
  medians = interleaved(options.reps(201, 31), {download, parse});
  reportTiming("  downloadPatient (loopback) to its handler vs Boost.JSON parse of the reply",
               medians[0], medians[1], 0);
}

}  // namespace orbelin::bench
