#include <set>

#include <gtest/gtest.h>

#include <atomic>

#include "model2/entity_list.h"
#include "networking/networking_test_support.h"
#include "orbelin/model2/entities.h"
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

// A patient whose recovery path's care team and booklets name `team` and
// `booklets`.
std::string patientText(const std::string& id, const std::vector<std::string>& team = {},
                        const std::vector<std::string>& booklets = {}) {
  auto list = [](const std::vector<std::string>& ids, const std::string& entry) {
    std::string out;
    for (const auto& each : ids) out += (out.empty() ? "" : ", ") + entry + each + "\"}";
    return "[" + out + "]";
  };
  return R"({"entityName": "Patient", "patientId": ")" + id + R"(", "firstName": "First)" + id +
         R"(", "lastName": "L", "gender": "Female", "birthDate": "1950-01-02 12:00:00",
         "recoveryPath": {"entityName": "RecoveryPath", "careTeam": )" +
         list(team, R"({"entityName": "StaffMember", "firstName": "F", "lastName": "L",
              "role": "Surgeon", "phoneNumber": "555", "staffId": ")") +
         R"(, "informationBooklets": )" +
         list(booklets, R"({"entityName": "InformationBooklet", "title": "T", "bookletId": ")") +
         "}}";
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

  EXPECT_EQ(texts(path->objects("appoitments"), "status"),
            (std::vector<std::string>{"Complete", "Complete", "Scheduled", "Pending"}));

  // Saved in the store file: a second store over it reads the same.
  EXPECT_TRUE(std::filesystem::exists(documents() / "MainStore.sqlite"));
  ObjectStore reopened;
  auto found = reopened.fetchObjectsWithName("Patient", graph::Predicate::equal("patientId", "1"));
  ASSERT_TRUE(found.has_value());
  ASSERT_EQ(found->size(), before + 1);
  for (graph::ManagedObject* saved : *found) {
    EXPECT_EQ(text(saved, "firstName"), "Eleanor");
    ASSERT_NE(saved->object("recoveryPath"), nullptr);
    EXPECT_EQ(saved->object("recoveryPath")->objects("careTeam").size(), 3u);
  }
}

// Each download adds a patient; a stored-patient lookup answers at once with
// the most recently saved one of that id, read in the main context, or an
// error.
TEST_F(Stores2Test, StoredPatientLookupsGiveTheLatestDownloadOrAnError) {
  write("patients/patient.twice", patientText("twice", {"a"}));
  write("patients/patient.other", patientText("other"));
  Patient2* first = download("twice");
  Patient2* second = download("twice");
  Patient2* other = download("other");  // later, and not the one asked for
  ASSERT_TRUE(first && second && other);
  EXPECT_NE(first->objectID(), second->objectID());
  EXPECT_EQ(storedPatients("twice"), 2u);
  for (auto [id, expected] : {std::pair{"twice", second}, std::pair{"other", other}}) {
    PatientCompletion stored;
    Patient2Store::patient(id, stored.handler());
    EXPECT_EQ(stored.calls, 1) << id;
    ASSERT_NE(stored.value, nullptr) << id;
    EXPECT_EQ(stored.value->objectID(), expected->objectID()) << id;
    EXPECT_EQ(stored.value->context(), hospitalStore().mainQueueContext().get()) << id;
  }

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

// The care team and the booklets of a patient's path: each member asked for
// on its own, one of them missing (404). Every reply comes late, so a
// completion that did not wait for all three would come before the service
// saw them all.
TEST_F(Stores2Test, MemberDownloadsWaitForTheLastReplyAndKeepTheError) {
  write("patients/patient.team", patientText("team", {"s1", "s2", "s3"}, {"b1", "b2", "b3"}));
  for (const char* id : {"s1", "s3"})
    write(std::string("staffMembers/staffMember.") + id, staffText(id));
  for (const char* id : {"b1", "b3"})
    write(std::string("informationBooklets/informationBooklet.") + id, bookletText(id));
  startService();
  Patient2* patient = download("team");
  ASSERT_NE(patient, nullptr);

  platform::ConsoleCapture console;
  std::atomic<int> saves{0};
  auto& center = platform::NotificationCenter::defaultCenter();
  auto token = center.addObserver(graph::kContextDidSaveNotification,
                                  hospitalStore().backgroundQueueContext().get(),
                                  [&saves](const auto&) { ++saves; });
  auto expectTwoOfThree = [&](auto& done, auto start, const char* key,
                              const std::vector<std::string>& expected, const std::string& kind) {
    ASSERT_TRUE(service->reset());
    ASSERT_TRUE(service->setFault({{"delay_ms", 150}, {"all", true}}));
    const int savesBefore = saves.load();
    start(patient, done.handler());
    EXPECT_EQ(done.calls, 0) << "not before any reply";
    ASSERT_TRUE(done.wait());
    EXPECT_EQ(done.calls, 1);
    EXPECT_EQ(saves.load() - savesBefore, 1) << "all the replies in one save";
    EXPECT_TRUE(done.onMainThread);
    EXPECT_EQ(service->requests().size(), 3u);
    ASSERT_TRUE(done.value.has_value());
    std::vector<std::string> ids;
    for (auto* member : *done.value) ids.push_back(text(member, key));
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(ids, expected);
    ASSERT_TRUE(done.error);
    EXPECT_EQ(done.error->userInfoValue(Error::kStatusCodeKey), "404");
    EXPECT_TRUE(
        console.contains("Request2." + kind + " error: " + done.error->localizedDescription()));
  };
  ListCompletion<StaffMember2> staff;
  expectTwoOfThree(staff, StaffMember2Store::downloadStaffMembers, "staffId", {"s1", "s3"},
                   "StaffMember");
  for (StaffMember2* member : staff.value.value_or(std::vector<StaffMember2*>{})) {
    EXPECT_EQ(text(member, "lastName"), "Record") << "the full record, not the care-team entry";
    EXPECT_EQ(member->objects("shifts").size(), 1u);
  }
  // The care-team entries the patient holds stay as they were.
  EXPECT_EQ(texts(patient->object("recoveryPath")->objects("careTeam"), "lastName"),
            (std::vector<std::string>{"L", "L", "L"}));
  ListCompletion<InformationBooklet2> booklets;
  expectTwoOfThree(booklets, InformationBooklets2Store::downloadInformationBooklets, "bookletId",
                   {"b1", "b3"}, "InformatinBooklet");
  for (InformationBooklet2* booklet : booklets.value.value_or(std::vector<InformationBooklet2*>{}))
    EXPECT_EQ(texts(booklet->objects("sections"), "title"),
              (std::vector<std::string>{"First", "Second", "Third"}));
  center.removeObserver(token);

  // Without a path, with no members, or without a patient: at once, once;
  // with a patient, an empty list and no error.
  write("patients/patient.nopath", R"({"entityName": "Patient", "patientId": "nopath",
      "firstName": "A", "lastName": "B", "gender": "Male", "birthDate": "1950-01-02 12:00:00"})");
  write("patients/patient.empty", patientText("empty"));
  for (Patient2* without :
       {download("nopath"), download("empty"), static_cast<Patient2*>(nullptr)}) {
    ListCompletion<StaffMember2> noStaff;
    ListCompletion<InformationBooklet2> noBooklets;
    StaffMember2Store::downloadStaffMembers(without, noStaff.handler());
    InformationBooklets2Store::downloadInformationBooklets(without, noBooklets.handler());
    EXPECT_EQ(noStaff.calls + noBooklets.calls, 2) << "at once";
    platform::MainQueue::runFor(std::chrono::milliseconds(30));
    EXPECT_EQ(noStaff.calls, 1);
    EXPECT_EQ(noBooklets.calls, 1);
    if (without == nullptr) continue;
    EXPECT_EQ(noStaff.value, std::optional(std::vector<StaffMember2*>{}));
    EXPECT_EQ(noBooklets.value, std::optional(std::vector<InformationBooklet2*>{}));
    EXPECT_FALSE(noStaff.error || noBooklets.error);
  }
}

// Patients in the reply's order, non-dictionaries skipped; an odd reply
// gives an empty list, a failed request an error and nothing but the
// request's own lines.
TEST_F(Stores2Test, AUsersPatientsAreImportedInOrderAndOddRepliesGiveEmptyLists) {
  write("user/user.u1.patients", "{\"patients\": [" + patientText("u1a") + ", 5, \"x\", " +
                                     patientText("u1b", {"s"}) + "]}");
  write("user/user.u2.patients", R"({"patients": []})");
  write("user/user.u3.patients", R"({"others": [1]})");
  write("user/user.u4.patients", R"({"patients": {"entityName": "Patient"}})");
  write("user/user.u5.patients", "not json");
  const std::vector<std::pair<std::string, std::optional<std::vector<std::string>>>> cases{
      {"u1", std::vector<std::string>{"u1a", "u1b"}},
      {"u2", std::vector<std::string>{}},
      {"u3", std::vector<std::string>{}},
      {"u4", std::vector<std::string>{}},
      {"u5", std::vector<std::string>{}},
      {"nobody", std::nullopt}};
  for (const auto& [user, expected] : cases) {
    platform::ConsoleCapture console;
    ListCompletion<Patient2> done;
    Patient2Store::downloadPatientsForUserId(user, done.handler());
    ASSERT_TRUE(done.wait()) << user;
    EXPECT_EQ(done.calls, 1) << user;
    EXPECT_EQ(done.error.has_value(), !expected) << user;
    ASSERT_EQ(done.value.has_value(), expected.has_value()) << user;
    if (!expected) {
      const std::string path = "hospital/user/user." + user + ".patients";
      EXPECT_EQ(console.lines(), (std::vector<std::string>{"GET " + path, "file url = " + path}));
      continue;
    }
    std::vector<std::string> ids;
    for (Patient2* patient : *done.value) ids.push_back(text(patient, "patientId"));
    EXPECT_EQ(ids, *expected) << user;
  }
  EXPECT_EQ(storedPatients("u1b"), 1u);
}

// Every vocabulary text of the bundled sample, on every object a download
// reaches, must be a raw value of its enumeration, spelled exactly. The
// vocabulary attributes are the entity tables' attributes of a vocabulary type.
template <typename T>
int checkCase(const graph::ManagedObject& object, const char* name) {
  if constexpr (model2::Vocabulary<T>) {
    const graph::Value stored = object.value(name);  // string() reads it in place
    const auto value = stored.string();
    if (!value) return 0;
    EXPECT_TRUE(model2::fromRawValue<T>(*value).has_value())
        << object.entity().name() << "." << name << " = \"" << *value << "\"";
    return 1;
  }
  return 0;
}

// Visits every object reachable from `object`; returns how many vocabulary
// values were checked.
int checkVocabulary(graph::ManagedObject* object, std::set<graph::ManagedObject*>& seen) {
  if (object == nullptr || !seen.insert(object).second) return 0;
  int checked = 0;
  using namespace orbelin::model2;
#define CHECK_CASE(name, Type, presence) checked += checkCase<Type>(*object, #name);
#define SKIP_ROW(...)
#define CHECK_ENTITY(Entity)                                              \
  if (dynamic_cast<Entity##2 *>(object)) {                                \
    ORBELIN_MODEL2_PROPERTIES_##Entity##2(CHECK_CASE, SKIP_ROW, SKIP_ROW) \
  }
  ORBELIN_MODEL2_FOR_EACH_ENTITY(CHECK_ENTITY)
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
