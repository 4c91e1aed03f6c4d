// Downloads imported into the process-wide store: patients, their care
// teams and booklets, and a user's patients.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <boost/json.hpp>
#include <set>
#include <tuple>

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
using Ids = std::vector<std::string>;

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

// The `key` text of each object, in order.
template <typename T>
Ids texts(const std::vector<T*>& objects, const char* key) {
  Ids values;
  for (const auto* object : objects) values.push_back(object->value(key).stringValue());
  return values;
}

std::size_t storedPatients(const std::string& patientId) {
  auto found = hospitalStore().fetchObjectsWithName(
      "Patient", graph::Predicate::equal("patientId", patientId));
  return found ? found->size() : 0;
}

// A patient whose recovery path lists care-team entries and booklets by id.
std::string patientText(const std::string& id, const Ids& team = {}, const Ids& booklets = {}) {
  boost::json::array staff, books;
  for (const auto& each : team)
    staff.push_back({{"entityName", "StaffMember"}, {"staffId", each}, {"lastName", "L"}});
  for (const auto& each : booklets)
    books.push_back({{"entityName", "InformationBooklet"}, {"bookletId", each}});
  return boost::json::serialize(boost::json::object{
      {"entityName", "Patient"},
      {"patientId", id},
      {"recoveryPath",
       {{"entityName", "RecoveryPath"}, {"careTeam", staff}, {"informationBooklets", books}}}});
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

// The members one download for the patient brings, expecting no error.
template <typename T, typename Start>
std::vector<T*> downloadMembers(Start start, Patient2* patient) {
  ListCompletion<T> done;
  start(patient, done.handler());
  EXPECT_TRUE(done.wait());
  EXPECT_FALSE(done.error);
  return done.value.value_or(std::vector<T*>{});
}

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
  // Downloads a patient, expecting one call, on the main thread, once the
  // save has been merged into the main context.
  Patient2* download(const std::string& id) {
    const std::size_t before = storedPatients(id);
    std::size_t seenByHandler = 0;
    PatientCompletion done;
    Patient2Store::downloadPatient(
        id, [&, handler = done.handler()](Patient2* patient, std::optional<Error> error) {
          seenByHandler = storedPatients(id);
          handler(patient, std::move(error));
        });
    EXPECT_TRUE(done.wait()) << id;
    EXPECT_EQ(done.calls, 1) << id;
    EXPECT_TRUE(done.onMainThread) << id;
    EXPECT_FALSE(done.error) << id;
    EXPECT_EQ(seenByHandler, before + 1) << id;
    return done.value;
  }
  TempDir resources;
};

// Every vocabulary text a download brings must be a raw value of its
// enumeration, spelled exactly. The vocabulary attributes are the entity
// tables' attributes of a vocabulary type.
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

// The bundled sample, each patient with its care team and booklets: saved
// whole, in order, readable by a second store over the file, and every
// vocabulary text spelled as its enumeration.
TEST_F(Stores2Test, TheSampleHospitalIsStoredWholeAndSpellsEveryVocabularyText) {
  DataSourceManager::setResourceRoot(sampleResourcesDir());
  std::set<graph::ManagedObject*> seen;
  int checked = 0;
  for (int id = 1; id <= 8; ++id) {
    Patient2* patient = download(std::to_string(id));
    ASSERT_NE(patient, nullptr) << id;
    checked += checkVocabulary(patient, seen);
    for (auto* member :
         downloadMembers<StaffMember2>(StaffMember2Store::downloadStaffMembers, patient))
      checked += checkVocabulary(member, seen);
    for (auto* booklet : downloadMembers<InformationBooklet2>(
             InformationBooklets2Store::downloadInformationBooklets, patient))
      checked += checkVocabulary(booklet, seen);
    if (id != 1) continue;
    graph::ManagedObject* path = patient->object("recoveryPath");
    ASSERT_NE(path, nullptr);
    EXPECT_EQ(texts(path->objects("appoitments"), "shortDesc"),
              (Ids{"Pre-operative assessment", "Coronary bypass surgery", "Physiotherapy walk",
                   "Cardiology follow-up"}));
  }
  EXPECT_GT(checked, 150) << "the walk reached the nested records";

  ObjectStore reopened;
  auto found = reopened.fetchObjectsWithName("Patient", graph::Predicate::equal("patientId", "1"));
  ASSERT_TRUE(found.has_value());
  ASSERT_EQ(found->size(), storedPatients("1"));
  for (graph::ManagedObject* saved : *found) {
    ASSERT_NE(saved->object("recoveryPath"), nullptr);
    EXPECT_EQ(saved->object("recoveryPath")->objects("careTeam").size(), 3u);
  }
}

// Each download adds a patient; a stored-patient lookup must answer at once
// with the most recently saved one of that id, read in the main context, or
// an error; a failed download stores nothing.
TEST_F(Stores2Test, StoredPatientLookupsGiveTheLatestDownloadOrAnError) {
  write("patients/patient.twice", patientText("twice", {"a"}));
  write("patients/patient.other", patientText("other"));
  Patient2* first = download("twice");
  Patient2* second = download("twice");
  Patient2* other = download("other");  // later, and not the one asked for
  ASSERT_TRUE(first && second && other);
  EXPECT_NE(first->objectID(), second->objectID());
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
// saw them all; the replies are saved together, the error kept.
TEST_F(Stores2Test, MemberDownloadsWaitForTheLastReplyAndKeepTheError) {
  write("patients/patient.team", patientText("team", {"s1", "s2", "s3"}, {"b1", "b2", "b3"}));
  for (const std::string id : {"s1", "s3"})
    write("staffMembers/staffMember." + id,
          R"({"entityName": "StaffMember", "staffId": ")" + id +
              R"(", "lastName": "Record", "shifts": [{"entityName": "Shift", "title": "Day"}]})");
  for (const std::string id : {"b1", "b3"})
    write("informationBooklets/informationBooklet." + id,
          R"({"entityName": "InformationBooklet", "bookletId": ")" + id + R"(", "sections": [
              {"entityName": "BookletSection", "title": "First"},
              {"entityName": "BookletSection", "title": "Second"},
              {"entityName": "BookletSection", "title": "Third"}]})");
  SampleService service(resources.path(), bundledInfoPlist());
  ASSERT_TRUE(service.running()) << service.failure();
  DataSourceManager::setBaseURLString(service.baseUrl());
  DataSourceManager::setLocalMode(false);
  Patient2* patient = download("team");
  ASSERT_NE(patient, nullptr);

  platform::ConsoleCapture console;
  std::atomic<int> saves{0};
  auto& center = platform::NotificationCenter::defaultCenter();
  auto token = center.addObserver(graph::kContextDidSaveNotification,
                                  hospitalStore().backgroundQueueContext().get(),
                                  [&saves](const auto&) { ++saves; });
  auto expectTwoOfThree = [&](auto& done, auto start, const char* key, const Ids& expected,
                              const std::string& kind) {
    ASSERT_TRUE(service.reset());
    ASSERT_TRUE(service.setFault({{"delay_ms", 150}, {"all", true}}));
    const int savesBefore = saves.load();
    start(patient, done.handler());
    EXPECT_EQ(done.calls, 0) << "not before any reply";
    ASSERT_TRUE(done.wait());
    EXPECT_EQ(done.calls, 1);
    EXPECT_EQ(saves.load() - savesBefore, 1) << "all the replies in one save";
    EXPECT_TRUE(done.onMainThread);
    EXPECT_EQ(service.requests().size(), 3u);
    ASSERT_TRUE(done.value.has_value());
    Ids ids = texts(*done.value, key);
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
    EXPECT_EQ(member->value("lastName").stringValue(), "Record") << "the full record";
    EXPECT_EQ(member->objects("shifts").size(), 1u);
  }
  // The care-team entries the patient holds stay as they were.
  EXPECT_EQ(texts(patient->object("recoveryPath")->objects("careTeam"), "lastName"),
            (Ids{"L", "L", "L"}));
  ListCompletion<InformationBooklet2> booklets;
  expectTwoOfThree(booklets, InformationBooklets2Store::downloadInformationBooklets, "bookletId",
                   {"b1", "b3"}, "InformatinBooklet");
  for (InformationBooklet2* booklet : booklets.value.value_or(std::vector<InformationBooklet2*>{}))
    EXPECT_EQ(texts(booklet->objects("sections"), "title"), (Ids{"First", "Second", "Third"}));
  center.removeObserver(token);

  // Without a path, with no members, or without a patient: at once, once;
  // with a patient, an empty list and no error.
  write("patients/patient.nopath", R"({"entityName": "Patient", "patientId": "nopath"})");
  write("patients/patient.empty", patientText("empty"));
  for (Patient2* without :
       {download("nopath"), download("empty"), static_cast<Patient2*>(nullptr)}) {
    ListCompletion<StaffMember2> noStaff;
    ListCompletion<InformationBooklet2> noBooklets;
    StaffMember2Store::downloadStaffMembers(without, noStaff.handler());
    InformationBooklets2Store::downloadInformationBooklets(without, noBooklets.handler());
    EXPECT_EQ(noStaff.calls + noBooklets.calls, 2) << "at once";
    platform::MainQueue::runFor(std::chrono::milliseconds(30));
    EXPECT_EQ(noStaff.calls + noBooklets.calls, 2) << "once";
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
  const std::vector<std::tuple<std::string, std::string, std::optional<Ids>>> cases{
      {"u1", "{\"patients\": [" + patientText("u1a") + ", 5, \"x\", " + patientText("u1b") + "]}",
       Ids{"u1a", "u1b"}},
      {"u2", R"({"patients": []})", Ids{}},
      {"u3", R"({"others": [1]})", Ids{}},
      {"u4", R"({"patients": {"entityName": "Patient"}})", Ids{}},
      {"u5", "not json", Ids{}},
      {"nobody", "", std::nullopt}};
  for (const auto& [user, reply, expected] : cases) {
    if (expected) write("user/user." + user + ".patients", reply);
    platform::ConsoleCapture console;
    ListCompletion<Patient2> done;
    Patient2Store::downloadPatientsForUserId(user, done.handler());
    ASSERT_TRUE(done.wait()) << user;
    EXPECT_EQ(done.calls, 1) << user;
    EXPECT_EQ(done.error.has_value(), !expected) << user;
    ASSERT_EQ(done.value.has_value(), expected.has_value()) << user;
    if (expected) {
      EXPECT_EQ(texts(*done.value, "patientId"), *expected) << user;
      continue;
    }
    const std::string path = "hospital/user/user." + user + ".patients";
    EXPECT_EQ(console.lines(), (Ids{"GET " + path, "file url = " + path}));
  }
  EXPECT_EQ(storedPatients("u1b"), 1u);
}

}  // namespace
