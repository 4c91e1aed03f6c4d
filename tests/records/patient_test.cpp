#include <set>
#include <string>

#include "records/records_fixture.h"

namespace orbelin::test {
namespace {

using namespace std::chrono_literals;

// A reply with decoys under the member names of renamed keys ("id",
// "firstName", "medications").
const char* kPatient = R"({
  "patientId": 12, "id": 999, "fName": "Jo", "lName": "Ray", "firstName": "wrong",
  "dischargedDate": "2015-04-23T15:00:00Z", "diagnoses": ["CHF"],
  "medication": ["Furosemide", "Furosemide"], "medications": ["never read"],
  "allergies": ["Penicillin", "Latex"], "medicalProblems": ["Hypertension"],
  "tasks": [{"task": {"taskId": 101, "text": "Review", "patient": {"patientId": 77}}},
            {"taskId": 102, "text": "bare"}],
  "barriers": ["Lives alone"], "staffIds": [7, 11, 9], "room": {"id": 3, "name": "3A"}
})";

// The members read under their own names are checked in key_order_test; here
// the renamed keys, the moved discharge date and the related records.
TEST_F(RecordsTest, PatientImportReadsEveryKey) {
  Patient* patient = Patient::create(json(kPatient));
  ASSERT_NE(patient, nullptr);
  EXPECT_EQ(patient->id(), 12);              // from "patientId", not "id"
  EXPECT_EQ(patient->fullName(), "Jo Ray");  // from "fName", not "firstName"
  // Only the discharge date moves: the 23rd is two days after the 21st.
  EXPECT_EQ(patient->dischargedDate(), utc("2026-06-16T15:00:00Z"));
  EXPECT_EQ(patient->staffIds(), (std::vector<std::int64_t>{7, 11, 9}));

  ASSERT_EQ(patient->diagnoses().size(), 1u);
  EXPECT_EQ(patient->diagnoses()[0]->patients(), std::vector<Patient*>{patient});
  // "medication" (singular) is the key; equal texts give separate records.
  auto medications = patient->medications();
  ASSERT_EQ(medications.size(), 2u);
  EXPECT_NE(medications[0], medications[1]);
  EXPECT_EQ(medications[1]->name(), "Furosemide");
  EXPECT_EQ(count("Medication"), 2u);
  EXPECT_EQ(patient->allergies().size(), 2u);
  ASSERT_EQ(patient->medicalProblems().size(), 1u);
  EXPECT_EQ(patient->medicalProblems()[0]->patients(), patient);
  ASSERT_EQ(patient->barriers().size(), 1u);
  EXPECT_EQ(patient->barriers()[0]->patients(), std::vector<Patient*>{patient});

  // Tasks come from each element's "task"; a bare task object gives a task
  // of fallback values. Each task carries its own new patient.
  auto tasks = patient->tasks();
  ASSERT_EQ(tasks.size(), 2u);
  std::set<std::int64_t> ids{*tasks[0]->id(), *tasks[1]->id()};
  EXPECT_EQ(ids, (std::set<std::int64_t>{101, 0}));
  for (Task* task : tasks) {
    ASSERT_NE(task->patient(), nullptr);
    EXPECT_NE(task->patient(), patient);
    EXPECT_EQ(task->patient()->id(), task->id() == 101 ? 77 : 0);
  }
  ASSERT_NE(patient->room(), nullptr);
  EXPECT_EQ(patient->room()->name(), "3A");
  EXPECT_EQ(patient->room()->patient(), patient);
  EXPECT_EQ(count("Patient"), 3u);  // the patient, the two task patients
  EXPECT_EQ(count("Room"), 1u);
}

// A stored value that kept the reply's arena would dangle once the reply goes.
TEST_F(RecordsTest, AValueMadeFromAReplyKeepsNothingOfIt) {
  const TamberNetworking::JSON reply = json(kPatient);
  const boost::json::value& ids = reply["staffIds"].raw();
  const boost::json::storage_ptr heap;
  ASSERT_NE(ids.storage().get(), heap.get()) << "a reply is parsed into an arena of its own";
  // A plain copy shares the arena; a stored value must not keep it alive.
  const graph::Value kept{boost::json::value(ids)};
  ASSERT_NE(kept.transformable(), nullptr);
  EXPECT_EQ(kept.transformable()->storage().get(), heap.get());
  EXPECT_EQ(*kept.transformable(), ids);
}

// Values of the wrong kind fall back, and a birthdate that is missing, null or
// not a date leaves the patient without one (age 0), never the epoch.
TEST_F(RecordsTest, PatientFallbacksNeverFail) {
  for (const char* text : {"{}", "null", "[1,2]", "17", R"("text")",
                           R"({"patientId":"12","fName":5,"acuity":"3","birthdate":"not a date",
                               "diagnoses":"CHF","medication":{"a":"b"},"tasks":{},"room":null,
                               "staffIds":["1",2.9,null,4],"dischargedDate":12})",
                           R"({"birthdate": null})", R"({"birthdate": "13/06/1996"})"}) {
    SCOPED_TRACE(text);
    Patient* patient = Patient::create(json(text));
    ASSERT_NE(patient, nullptr);
    EXPECT_EQ(patient->id(), 0);                    // numbers as text read as 0
    EXPECT_EQ(patient->fullName(), " ");            // and numbers as text ""
    EXPECT_EQ(patient->birthdate(), std::nullopt);  // absent, not the epoch
    EXPECT_EQ(patient->age(), 0);
    EXPECT_TRUE(patient->medications().empty());
    EXPECT_TRUE(patient->tasks().empty());
    EXPECT_EQ(patient->room(), nullptr);
    EXPECT_TRUE(patient->dischargedDate().has_value());
  }
  Patient* patient = Patient::create(json(R"({"staffIds":["1",2.9,null,4]})"));
  EXPECT_EQ(patient->staffIds(), (std::vector<std::int64_t>{0, 2, 0, 4}));

  // A huge array is imported whole, one record per element.
  std::string many = R"({"medication":[)";
  for (int i = 0; i < 20000; ++i) many += (i ? ",\"m" : "\"m") + std::to_string(i) + "\"";
  many += "]}";
  Patient* busy = Patient::create(json(many));
  ASSERT_EQ(busy->medications().size(), 20000u);
  EXPECT_EQ(busy->medications()[19999]->patients(), std::vector<Patient*>{busy});
}

// Age counts whole years to now; the discharge status is seen from today 09:41
// in the calendar's zone.
TEST_F(RecordsTest, PatientAgeAndDischargeStatusFromToday941) {
  Patient* patient = Patient::create(json("{}"));
  patient->setBirthdate(utc("1996-06-15T15:00:00Z"));  // a day short of 30 years
  EXPECT_EQ(patient->age(), 29);

  using enum DischargeStatus;
  const Date reference = utc("2026-06-14T09:41:00Z");
  const std::pair<std::chrono::seconds, DischargeStatus> cases[] = {
      {-59min - 59s, InToday}, {-60min, InThePast}, {23h + 59min, InToday}, {24h, InTheFuture}};
  for (auto [offset, status] : cases) {
    patient->setDischargedDate(reference + offset);
    EXPECT_EQ(patient->dischargeStatus(), status) << offset.count() << "s";
  }
  patient->setDischargedDate(std::nullopt);
  EXPECT_EQ(patient->dischargeStatus(), InTheFuture);

  // The reference follows the zone: 09:41 in Kolkata is 04:11Z.
  DateUtils::setTimeZone("Asia/Kolkata");
  patient->setDischargedDate(utc("2026-06-14T03:00:00Z"));
  EXPECT_EQ(patient->dischargeStatus(), InThePast);
  patient->setDischargedDate(utc("2026-06-14T03:30:00Z"));
  EXPECT_EQ(patient->dischargeStatus(), InToday);
}

// A room and its patient are kept in step, whichever side the reply nests.
TEST_F(RecordsTest, PatientRoomAndRoomPatient) {
  Patient::create(json(R"({"patientId":1})"));
  EXPECT_EQ(count("Room"), 0u) << "no room made up";

  // A room that carries its own patient imports yet another patient; the
  // room then belongs to the outer patient (the pair is kept in step), and
  // the nested patient is left without a room.
  Patient* outer = Patient::create(
      json(R"({"patientId":1,"room":{"id":3,"name":"3A","patient":{"patientId":2}}})"));
  ASSERT_NE(outer->room(), nullptr);
  EXPECT_EQ(outer->room()->patient(), outer);
  EXPECT_EQ(count("Patient"), 3u);

  EXPECT_EQ(Room::create(json(R"({"patient":null})"))->patient(), nullptr);
  Room* occupied = Room::create(json(R"({"id":5,"patient":{"patientId":9,"fName":"Al"}})"));
  ASSERT_NE(occupied->patient(), nullptr);
  EXPECT_EQ(occupied->patient()->firstName(), "Al");
  EXPECT_EQ(occupied->patient()->room(), occupied);
}

// Hostile nesting stops at the depth limit, and a missing context gives no
// record rather than a crash.
TEST_F(RecordsTest, HostileNestingAndNoContextEndCleanly) {
  // patient -> room -> patient -> ... far deeper than any real reply.
  std::string text;
  int levels = 120;  // 240 JSON levels: inside the parser's limit
  for (int i = 0; i < levels; ++i) text += R"({"patientId":1,"room":{"id":2,"patient":)";
  text += "{}";
  for (int i = 0; i < levels; ++i) text += "}}";
  ASSERT_NE(Patient::create(json(text)), nullptr);
  // Creates nest kMaxNestedImportDepth deep: half patients, half rooms.
  EXPECT_EQ(count("Patient") + count("Room"), static_cast<std::size_t>(kMaxNestedImportDepth));

  // A document built in code has no parser limit at all.
  boost::json::value deep = boost::json::object{};
  for (int i = 0; i < 1000; ++i) {
    boost::json::object task, wrapper, patient;
    task["patient"] = std::move(deep);
    wrapper["task"] = std::move(task);
    patient["tasks"].emplace_array().emplace_back(std::move(wrapper));
    deep = std::move(patient);
  }
  Patient* deepest = Patient::create(TamberNetworking::JSON(std::move(deep)));
  ASSERT_NE(deepest, nullptr);
  EXPECT_EQ(deepest->tasks().size(), 1u);

  CoreDataStack::sharedInstance().setManagedObjectContext(nullptr);
  EXPECT_EQ(Patient::create(json(kPatient)), nullptr);
  EXPECT_EQ(Allergy::create("x"), nullptr);
  CoreDataStack::sharedInstance().setManagedObjectContext(context_);
}

}  // namespace
}  // namespace orbelin::test
