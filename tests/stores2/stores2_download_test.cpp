#include <functional>
#include <map>
#include <set>

#include <gtest/gtest.h>

#include <atomic>
#include <boost/json/serialize.hpp>

#include "networking/networking_test_support.h"
#include "orbelin/networking/data_source_manager.h"
#include "orbelin/platform/console.h"
#include "orbelin/platform/host_environment.h"
#include "orbelin/stores2/information_booklets2_store.h"
#include "orbelin/stores2/object_store.h"
#include "orbelin/stores2/patient2_store.h"
#include "orbelin/stores2/staff_member2_store.h"
#include "support/sample_service.h"

using namespace orbelin;
using namespace orbelin::test;
using model2::InformationBooklet2;
using model2::Patient2;
using model2::StaffMember2;
using TamberNetworking::DataSourceManager;

namespace {

// hospitalStore() is opened once per process: every test of this binary
// shares one store file, so tests use their own patient ids and count
// differences rather than totals.
const std::filesystem::path& documents() {
  // Removed at exit (the open store's files may go first on Linux).
  static TempDir directory;
  static const bool configured = [] {
    platform::HostEnvironment::setDocumentsDirectory(directory.path());
    return true;
  }();
  (void)configured;
  return directory.path();
}

std::string text(const graph::ManagedObject* object, const char* key) {
  return object == nullptr ? "<null>" : object->value(key).stringValue();
}

std::vector<std::string> texts(const std::vector<graph::ManagedObject*>& objects, const char* key) {
  std::vector<std::string> values;
  for (const auto* object : objects) values.push_back(text(object, key));
  return values;
}

std::size_t storedPatients(const std::string& patientId) {
  auto found = hospitalStore().fetchObjectsWithName(
      "Patient", graph::Predicate::equal("patientId", patientId));
  return found ? found->size() : 0;
}

boost::json::object member(const char* entity, const char* key, const std::string& id) {
  return boost::json::object{{"entityName", entity}, {key, id}};
}

// A patient with a recovery path whose care team and booklets name `team`
// and `booklets`.
std::string patientText(const std::string& id, const std::vector<std::string>& team,
                        const std::vector<std::string>& booklets) {
  boost::json::array careTeam, bookletList;
  for (const auto& staffId : team) {
    auto staff = member("StaffMember", "staffId", staffId);
    staff["firstName"] = "F" + staffId;
    staff["lastName"] = "L" + staffId;
    staff["role"] = "Surgeon";
    staff["phoneNumber"] = "555";
    careTeam.push_back(staff);
  }
  for (const auto& bookletId : booklets) {
    auto booklet = member("InformationBooklet", "bookletId", bookletId);
    booklet["title"] = "T" + bookletId;
    bookletList.push_back(booklet);
  }
  boost::json::object path{
      {"entityName", "RecoveryPath"}, {"careTeam", careTeam}, {"informationBooklets", bookletList}};
  boost::json::object patient{{"entityName", "Patient"},   {"patientId", id},
                              {"firstName", "First" + id}, {"lastName", "Last" + id},
                              {"gender", "Female"},        {"birthDate", "1950-01-02 12:00:00"},
                              {"recoveryPath", path}};
  return boost::json::serialize(patient);
}

std::string staffText(const std::string& id) {
  return R"({"entityName": "StaffMember", "staffId": ")" + id +
         R"(", "firstName": "Full", "lastName": "Record", "role": "Pharmacist",
             "phoneNumber": "555-1", "shifts": [{"entityName": "Shift", "title": "Day",
             "durationinHours": 8, "startDateTime": "2015-04-21 08:00:00",
             "endDateTime": "2015-04-21 16:00:00"}]})";
}

std::string bookletText(const std::string& id) {
  return R"({"entityName": "InformationBooklet", "bookletId": ")" + id +
         R"(", "title": "Booklet )" + id + R"(", "sections": [
      {"entityName": "BookletSection", "category": "Diet", "title": "First", "body": "1"},
      {"entityName": "BookletSection", "category": "Other", "title": "Second", "body": "2"},
      {"entityName": "BookletSection", "category": "Contact Us", "title": "Third", "body": "3"}]})";
}

// What one completion handler saw, how often and where.
template <typename T>
struct Completion {
  int calls = 0;
  bool onMainThread = false;
  T value{};
  std::optional<Error> error;

  auto handler() {
    return [this](T received, std::optional<Error> failure) {
      ++calls;
      onMainThread = platform::MainQueue::isMainThread();
      value = std::move(received);
      error = std::move(failure);
    };
  }
  bool wait() {
    bool ran = runMainQueueUntil([this] { return calls > 0; });
    platform::MainQueue::runFor(std::chrono::milliseconds(30));
    return ran;
  }
};
using PatientCompletion = Completion<Patient2*>;
template <typename T>
using ListCompletion = Completion<std::optional<std::vector<T*>>>;

class Stores2Test : public ::testing::Test {
 protected:
  void SetUp() override {
    documents();
    DataSourceManager::resetToDefaults();
    DataSourceManager::setResourceRoot(resources.path());
    DataSourceManager::setLocalMode(true);
  }
  void TearDown() override {
    platform::MainQueue::drain();
    DataSourceManager::resetToDefaults();
  }
  void write(const std::string& name, const std::string& content) {
    writeFile(resources.path() / ("hospital/" + name + ".json"), content);
  }
  Patient2* download(const std::string& id) {
    PatientCompletion done;
    Patient2Store::downloadPatient(id, done.handler());
    EXPECT_TRUE(done.wait());
    EXPECT_EQ(done.calls, 1);
    EXPECT_FALSE(done.error);
    return done.value;
  }
  void startService() {
    service = std::make_unique<SampleService>(resources.path(), bundledInfoPlist());
    ASSERT_TRUE(service->running()) << service->failure();
    DataSourceManager::setBaseURLString(service->baseUrl());
    DataSourceManager::setLocalMode(false);
  }
  TempDir resources;
  std::unique_ptr<SampleService> service;
};

TEST_F(Stores2Test, ADownloadedPatientIsStoredWithItsWholeRecoveryPath) {
  DataSourceManager::setResourceRoot(sampleResourcesDir());
  const std::size_t before = storedPatients("1");
  PatientCompletion done;
  std::size_t seenByMainContext = 0;
  Patient2Store::downloadPatient("1", [&](Patient2* patient, std::optional<Error> error) {
    // The save has been merged when the handler runs.
    seenByMainContext = storedPatients("1");
    done.handler()(patient, std::move(error));
  });
  ASSERT_TRUE(done.wait());
  EXPECT_EQ(done.calls, 1);
  EXPECT_TRUE(done.onMainThread);
  EXPECT_FALSE(done.error);
  EXPECT_EQ(seenByMainContext, before + 1);
  Patient2* patient = done.value;
  ASSERT_NE(patient, nullptr);
  EXPECT_EQ(patient->className(), "Patient");
  EXPECT_EQ(text(patient, "firstName"), "Eleanor");
  EXPECT_EQ(patient->objects("vitals").size(), 4u);
  EXPECT_EQ(patient->objects("allergies").size(), 1u);
  EXPECT_EQ(text(patient->object("bed"), "bedNumber"), "3A-1");
  graph::ManagedObject* path = patient->object("recoveryPath");
  ASSERT_NE(path, nullptr);
  EXPECT_EQ(texts(path->objects("appoitments"), "shortDesc"),
            (std::vector<std::string>{"Pre-operative assessment", "Coronary bypass surgery",
                                      "Physiotherapy walk", "Cardiology follow-up"}));
  EXPECT_EQ(path->objects("careTeam").size(), 3u);
  EXPECT_EQ(path->objects("informationBooklets").size(), 3u);
  EXPECT_EQ(path->objects("instructions").size(), 3u);
  EXPECT_EQ(path->objects("medicalTests").size(), 3u);

  // Read back from the main context: the same record, another object.
  PatientCompletion stored;
  Patient2Store::patient("1", stored.handler());
  EXPECT_EQ(stored.calls, 1) << "answered before patient() returns";
  ASSERT_NE(stored.value, nullptr);
  EXPECT_NE(stored.value, patient);
  EXPECT_EQ(stored.value->objectID(), patient->objectID()) << "the latest download";
  EXPECT_EQ(stored.value->context(), hospitalStore().mainQueueContext().get());
  EXPECT_EQ(texts(stored.value->object("recoveryPath")->objects("appoitments"), "status"),
            (std::vector<std::string>{"Complete", "Complete", "Scheduled", "Pending"}));
}

TEST_F(Stores2Test, TwoDownloadsOfOnePatientLeaveTwoPatients) {
  write("patients/patient.twice", patientText("twice", {"a"}, {}));
  Patient2* first = download("twice");
  Patient2* second = download("twice");
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_NE(first->objectID(), second->objectID());
  EXPECT_EQ(storedPatients("twice"), 2u);
  // Another patient, downloaded later, is not the one asked for.
  write("patients/patient.other", patientText("other", {}, {}));
  Patient2* other = download("other");
  ASSERT_NE(other, nullptr);
  PatientCompletion stored;
  Patient2Store::patient("twice", stored.handler());
  ASSERT_NE(stored.value, nullptr);
  EXPECT_EQ(stored.value->objectID(), second->objectID()) << "the most recently saved one";
  PatientCompletion asked;
  Patient2Store::patient("other", asked.handler());
  ASSERT_NE(asked.value, nullptr);
  EXPECT_EQ(asked.value->objectID(), other->objectID());
}

TEST_F(Stores2Test, UnknownStoredPatientAndFailedDownloadGiveErrors) {
  PatientCompletion none;
  Patient2Store::patient("no-such-patient", none.handler());
  EXPECT_EQ(none.calls, 1);
  EXPECT_EQ(none.value, nullptr);
  ASSERT_TRUE(none.error);
  EXPECT_EQ(none.error->domain(), "OrbelinData");
  EXPECT_EQ(none.error->code(), -1);
  EXPECT_TRUE(none.error->userInfo().empty());

  platform::ConsoleCapture console;
  PatientCompletion missing;
  Patient2Store::downloadPatient("missing", missing.handler());
  ASSERT_TRUE(missing.wait());
  EXPECT_EQ(missing.calls, 1);
  EXPECT_EQ(missing.value, nullptr);
  ASSERT_TRUE(missing.error);
  EXPECT_EQ(missing.error->code(), TamberNetworking::Response::kNotFound);
  EXPECT_TRUE(console.contains("Request2.Patient error: " + missing.error->localizedDescription()));
  EXPECT_EQ(storedPatients("missing"), 0u);
}

TEST_F(Stores2Test, CareTeamCountdownWaitsForTheLastReplyAndKeepsTheError) {
  write("patients/patient.team", patientText("team", {"s1", "s2", "s3"}, {}));
  write("staffMembers/staffMember.s1", staffText("s1"));
  write("staffMembers/staffMember.s3", staffText("s3"));  // s2 is missing: 404
  startService();
  Patient2* patient = download("team");
  ASSERT_NE(patient, nullptr);
  ASSERT_TRUE(service->reset());
  // Every reply comes late, so a completion that did not wait for all three
  // would come before the service saw them all.
  ASSERT_TRUE(service->setFault({{"delay_ms", 150}, {"all", true}}));

  platform::ConsoleCapture console;
  std::atomic<int> saves{0};
  auto& center = platform::NotificationCenter::defaultCenter();
  auto token = center.addObserver(graph::kContextDidSaveNotification,
                                  hospitalStore().backgroundQueueContext().get(),
                                  [&saves](const auto&) { ++saves; });
  ListCompletion<StaffMember2> done;
  StaffMember2Store::downloadStaffMembers(patient, done.handler());
  EXPECT_EQ(done.calls, 0) << "not before any reply";
  ASSERT_TRUE(done.wait());
  center.removeObserver(token);
  EXPECT_EQ(done.calls, 1);
  EXPECT_EQ(saves.load(), 1) << "the whole care team in one save";
  EXPECT_TRUE(done.onMainThread);
  EXPECT_EQ(service->requests().size(), 3u);
  ASSERT_TRUE(done.value.has_value());
  EXPECT_EQ(done.value->size(), 2u);
  std::vector<std::string> ids;
  for (StaffMember2* staff : *done.value) {
    ids.push_back(text(staff, "staffId"));
    EXPECT_EQ(text(staff, "lastName"), "Record") << "the full record, not the care-team entry";
    EXPECT_EQ(staff->objects("shifts").size(), 1u);
  }
  std::sort(ids.begin(), ids.end());
  EXPECT_EQ(ids, (std::vector<std::string>{"s1", "s3"}));
  ASSERT_TRUE(done.error);
  EXPECT_EQ(done.error->userInfoValue(Error::kStatusCodeKey), "404");
  EXPECT_TRUE(
      console.contains("Request2.StaffMember error: " + done.error->localizedDescription()));
  // The care-team entries the patient holds stay as they were.
  EXPECT_EQ(texts(patient->object("recoveryPath")->objects("careTeam"), "lastName").size(), 3u);
}

TEST_F(Stores2Test, BookletsArriveWithSectionsInOrder) {
  write("patients/patient.reader", patientText("reader", {}, {"b1", "b2", "b3"}));
  write("informationBooklets/informationBooklet.b1", bookletText("b1"));
  write("informationBooklets/informationBooklet.b3", bookletText("b3"));
  Patient2* patient = download("reader");
  ASSERT_NE(patient, nullptr);

  platform::ConsoleCapture console;
  ListCompletion<InformationBooklet2> done;
  InformationBooklets2Store::downloadInformationBooklets(patient, done.handler());
  ASSERT_TRUE(done.wait());
  EXPECT_EQ(done.calls, 1);
  ASSERT_TRUE(done.value.has_value());
  ASSERT_EQ(done.value->size(), 2u);
  for (InformationBooklet2* booklet : *done.value) {
    EXPECT_EQ(texts(booklet->objects("sections"), "title"),
              (std::vector<std::string>{"First", "Second", "Third"}));
  }
  ASSERT_TRUE(done.error);
  EXPECT_EQ(done.error->code(), TamberNetworking::Response::kNotFound);
  EXPECT_TRUE(
      console.contains("Request2.InformatinBooklet error: " + done.error->localizedDescription()));
}

TEST_F(Stores2Test, NoMembersCompletesAtOnceWithAnEmptyList) {
  write("patients/patient.nopath", R"({"entityName": "Patient", "patientId": "nopath",
      "firstName": "A", "lastName": "B", "gender": "Male", "birthDate": "1950-01-02 12:00:00"})");
  write("patients/patient.empty", patientText("empty", {}, {}));
  for (const char* id : {"nopath", "empty"}) {
    Patient2* patient = download(id);
    ASSERT_NE(patient, nullptr) << id;
    ListCompletion<StaffMember2> staff;
    ListCompletion<InformationBooklet2> booklets;
    StaffMember2Store::downloadStaffMembers(patient, staff.handler());
    InformationBooklets2Store::downloadInformationBooklets(patient, booklets.handler());
    EXPECT_EQ(staff.calls, 1) << id;
    EXPECT_EQ(booklets.calls, 1) << id;
    EXPECT_EQ(staff.value, std::optional<std::vector<StaffMember2*>>(std::vector<StaffMember2*>{}));
    EXPECT_FALSE(staff.error);
    EXPECT_FALSE(booklets.error);
    platform::MainQueue::runFor(std::chrono::milliseconds(30));
    EXPECT_EQ(staff.calls, 1);
  }
  ListCompletion<StaffMember2> nullPatient;
  StaffMember2Store::downloadStaffMembers(nullptr, nullPatient.handler());
  EXPECT_EQ(nullPatient.calls, 1);
}

TEST_F(Stores2Test, AUsersPatientsAreImportedInOrderAndOddRepliesGiveEmptyLists) {
  write("user/user.u1.patients", "{\"patients\": [" + patientText("u1a", {}, {}) + ", 5, \"x\", " +
                                     patientText("u1b", {"s"}, {}) + "]}");
  write("user/user.u2.patients", R"({"patients": []})");
  write("user/user.u3.patients", R"({"others": [1]})");
  write("user/user.u4.patients", R"({"patients": {"entityName": "Patient"}})");
  write("user/user.u5.patients", "not json");

  ListCompletion<Patient2> first;
  Patient2Store::downloadPatientsForUserId("u1", first.handler());
  ASSERT_TRUE(first.wait());
  EXPECT_EQ(first.calls, 1);
  EXPECT_FALSE(first.error);
  ASSERT_TRUE(first.value.has_value());
  std::vector<std::string> ids;
  for (Patient2* patient : *first.value) ids.push_back(text(patient, "patientId"));
  EXPECT_EQ(ids, (std::vector<std::string>{"u1a", "u1b"})) << "non-dictionaries skipped";
  EXPECT_EQ(storedPatients("u1b"), 1u);

  for (const char* user : {"u2", "u3", "u4", "u5"}) {
    ListCompletion<Patient2> empty;
    Patient2Store::downloadPatientsForUserId(user, empty.handler());
    ASSERT_TRUE(empty.wait());
    EXPECT_EQ(empty.calls, 1);
    EXPECT_FALSE(empty.error) << user;
    ASSERT_TRUE(empty.value.has_value()) << user;
    EXPECT_TRUE(empty.value->empty()) << user;
  }

  platform::ConsoleCapture console;
  ListCompletion<Patient2> failed;
  Patient2Store::downloadPatientsForUserId("nobody", failed.handler());
  ASSERT_TRUE(failed.wait());
  EXPECT_EQ(failed.calls, 1);
  EXPECT_FALSE(failed.value.has_value());
  ASSERT_TRUE(failed.error);
  EXPECT_EQ(console.lines(),
            (std::vector<std::string>{"GET hospital/user/user.nobody.patients",
                                      "file url = hospital/user/user.nobody.patients"}))
      << "nothing but the request's own lines";
}

TEST_F(Stores2Test, StoredPatientsSurviveAReopenOfTheStoreFile) {
  write("patients/patient.kept", patientText("kept", {"k1", "k2"}, {"kb"}));
  ASSERT_NE(download("kept"), nullptr);
  // A second store over the same file reads what the first one saved.
  ObjectStore reopened;
  auto found =
      reopened.fetchObjectsWithName("Patient", graph::Predicate::equal("patientId", "kept"));
  ASSERT_TRUE(found.has_value());
  ASSERT_EQ(found->size(), 1u);
  graph::ManagedObject* patient = found->front();
  EXPECT_EQ(text(patient, "firstName"), "Firstkept");
  ASSERT_NE(patient->object("recoveryPath"), nullptr);
  EXPECT_EQ(patient->object("recoveryPath")->objects("careTeam").size(), 2u);
  EXPECT_TRUE(std::filesystem::exists(documents() / "MainStore.sqlite"));
}

// Every vocabulary text of the bundled sample, on every object a download
// reaches, must be a raw value of its enumeration, spelled exactly.
using Check = std::function<bool(std::string_view)>;
template <typename E>
Check is() {
  return [](std::string_view text) { return model2::fromRawValue<E>(text).has_value(); };
}

const std::map<std::pair<std::string, std::string>, Check>& vocabularyChecks() {
  using namespace model2;
  static const std::map<std::pair<std::string, std::string>, Check> checks = {
      {{"Alert", "category"}, is<AlertCategoryEnum>()},
      {{"Alert", "severity"}, is<AlertSeverityEnum>()},
      {{"Vital", "type"}, is<VitalTypeEnum>()},
      {{"Task", "type"}, is<TaskTypeEnum>()},
      {{"Task", "group"}, is<TaskGroupEnum>()},
      {{"Room", "unit"}, is<HospitalUnitEnum>()},
      {{"RecoveryPath", "dischargeApprovalState"}, is<DischargeApprovalStateEnum>()},
      {{"RecoveryPath", "dischargeDisposition"}, is<DischargeDispositionEnum>()},
      {{"Instruction", "frequency"}, is<InstructionFrequencyEnum>()},
      {{"Instruction", "status"}, is<InstructionStatusEnum>()},
      {{"InstructionAction", "type"}, is<InstructionActionTypeEnum>()},
      {{"Appoitment", "status"}, is<AppoitmentStatusEnum>()},
      {{"BookletSection", "category"}, is<BookletSectionCategoryEnum>()},
      {{"Patient", "status"}, is<PatientStatusEnum>()},
      {{"Patient", "gender"}, is<GenderEnum>()},
      {{"Patient", "acuity"}, is<PatientAcuityEnum>()},
      {{"Patient", "ambulatoryStatus"}, is<PatientAmbulatoryStatus>()},
      {{"Message", "category"}, is<MessageCategoryEnum>()},
      {{"Message", "priority"}, is<MessagePriorityEnum>()},
      {{"Message", "status"}, is<MessageStatusEnum>()},
      {{"StaffMember", "role"}, is<StaffMemberRoleEnum>()},
  };
  return checks;
}

// Visits every object reachable from `object`; returns how many vocabulary
// values were checked.
int checkVocabulary(graph::ManagedObject* object, std::set<graph::ManagedObject*>& seen) {
  if (object == nullptr || !seen.insert(object).second) return 0;
  int checked = 0;
  const std::string& entity = object->entity().name();
  for (const auto& [key, check] : vocabularyChecks()) {
    if (key.first != entity) continue;
    const graph::Value stored = object->value(key.second);
    const auto value = stored.string();
    if (!value) continue;
    EXPECT_TRUE(check(std::string(*value)))
        << entity << "." << key.second << " = \"" << *value << "\"";
    ++checked;
  }
  for (const auto& relationship : object->entity().relationships()) {
    if (relationship.toMany) {
      for (auto* related : object->objects(relationship.name))
        checked += checkVocabulary(related, seen);
    } else {
      checked += checkVocabulary(object->object(relationship.name), seen);
    }
  }
  return checked;
}

TEST_F(Stores2Test, TheSampleHospitalSpellsEveryVocabularyTextAsItsEnumeration) {
  DataSourceManager::setResourceRoot(sampleResourcesDir());
  std::set<graph::ManagedObject*> seen;
  int checked = 0;
  for (int id = 1; id <= 8; ++id) {
    Patient2* patient = download(std::to_string(id));
    ASSERT_NE(patient, nullptr) << id;
    checked += checkVocabulary(patient, seen);
    ListCompletion<StaffMember2> staff;
    StaffMember2Store::downloadStaffMembers(patient, staff.handler());
    ASSERT_TRUE(staff.wait());
    EXPECT_FALSE(staff.error) << id;
    for (auto* member : staff.value.value_or(std::vector<StaffMember2*>{}))
      checked += checkVocabulary(member, seen);
    ListCompletion<InformationBooklet2> booklets;
    InformationBooklets2Store::downloadInformationBooklets(patient, booklets.handler());
    ASSERT_TRUE(booklets.wait());
    EXPECT_FALSE(booklets.error) << id;
    for (auto* booklet : booklets.value.value_or(std::vector<InformationBooklet2*>{}))
      checked += checkVocabulary(booklet, seen);
  }
  EXPECT_GT(checked, 150) << "the walk reached the nested records";
}

}  // namespace
