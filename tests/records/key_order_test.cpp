// Imports find the members they read in one pass and guess each member's key
// from the object read before: replies whose objects differ in key order,
// in which keys they leave out or add, and in value kinds must still read
// each member under its own key.

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <boost/json.hpp>

#include "records/records_fixture.h"

namespace orbelin::test {
namespace {

namespace bj = boost::json;

bj::object fullPatient(int id) {
  bj::object patient = bj::parse(R"({
    "doctorApproval": "Approved", "dischargeDisposition": "Home", "patientId": 12,
    "fName": "Jo", "lName": "Ray", "roomNumber": "3A", "gender": "Female", "acuity": 3,
    "birthdate": "1996-06-13", "ambulatoryStatus": "Assist x1", "codeStatus": "DNR",
    "dietType": "Cardiac", "immunizationStatus": "Up to date", "coreMeasures": "CHF",
    "admittedDate": "2015-04-17T16:20:00Z", "status": 1, "physician": "Dr. Raman",
    "dischargedDate": "2015-04-23T15:00:00Z", "diagnoses": ["CHF"], "medication": ["A", "B"],
    "allergies": ["Latex"], "medicalProblems": ["Hypertension"], "barriers": ["Alone"],
    "staffIds": [7, 11], "room": {"id": 3, "name": "3A"},
    "tasks": [{"task": {"taskId": 101, "groupId": 2, "type": 1, "status": 1,
                        "statusDescription": "done", "text": "Review", "staffId": 9,
                        "createdDate": "2015-04-20T10:00:00Z", "dueDate": "2015-04-21T08:30:00Z",
                        "completedDate": "2015-04-21T08:45:00Z",
                        "patient": {"patientId": 77, "fName": "Nested"}}}]
  })")
                           .as_object();
  patient["patientId"] = id;
  return patient;
}

// The object with its members in a shuffled order, some left out, some
// unknown ones added, and some values of another kind.
bj::object variant(const bj::object& original, std::mt19937& random) {
  std::vector<std::pair<std::string, bj::value>> members;
  for (const auto& member : original) members.emplace_back(member.key(), member.value());
  std::shuffle(members.begin(), members.end(), random);
  bj::object result;
  int extra = 0;
  for (auto& [key, value] : members) {
    switch (random() % 8) {
      case 0:
        continue;  // left out
      case 1:
        result["unknown" + std::to_string(extra++)] = "x";
        break;
      case 2:
        value = value.is_string() ? bj::value(42) : bj::value("text");
        break;
      default:
        break;
    }
    result[key] = value;
  }
  return result;
}

// Each attribute as the public view of the member reads it, member by member.
void expectReadAsTheView(const Patient& patient, const TamberNetworking::JSON& view) {
  EXPECT_EQ(patient.doctorApproval(), view["doctorApproval"].stringValue());
  EXPECT_EQ(patient.dischargeDisposition(), view["dischargeDisposition"].stringValue());
  EXPECT_EQ(patient.id(), view["patientId"].intValue());
  EXPECT_EQ(patient.firstName(), view["fName"].stringValue());
  EXPECT_EQ(patient.lastName(), view["lName"].stringValue());
  EXPECT_EQ(patient.roomNumber(), view["roomNumber"].stringValue());
  EXPECT_EQ(patient.gender(), view["gender"].stringValue());
  EXPECT_EQ(patient.acuity(), view["acuity"].intValue());
  EXPECT_EQ(patient.birthdate(), view["birthdate"].date());
  EXPECT_EQ(patient.ambulatoryStatus(), view["ambulatoryStatus"].stringValue());
  EXPECT_EQ(patient.codeStatus(), view["codeStatus"].stringValue());
  EXPECT_EQ(patient.dietType(), view["dietType"].stringValue());
  EXPECT_EQ(patient.immunizationStatus(), view["immunizationStatus"].stringValue());
  EXPECT_EQ(patient.coreMeasures(), view["coreMeasures"].stringValue());
  EXPECT_EQ(patient.admittedDate(), view["admittedDate"].dateValue());
  EXPECT_EQ(patient.status(), view["status"].intValue());
  EXPECT_EQ(patient.physician(), view["physician"].stringValue());
  EXPECT_EQ(patient.diagnoses().size(), view["diagnoses"].size());
  EXPECT_EQ(patient.medications().size(), view["medication"].size());
  EXPECT_EQ(patient.allergies().size(), view["allergies"].size());
  EXPECT_EQ(patient.barriers().size(), view["barriers"].size());
  EXPECT_EQ(patient.tasks().size(), view["tasks"].size());
  EXPECT_EQ(patient.staffIds().size(), view["staffIds"].size());
  EXPECT_EQ(patient.room() != nullptr, !view["room"].isNull());
}

void expectReadAsTheView(const Task& task, const TamberNetworking::JSON& view) {
  EXPECT_EQ(task.id(), view["taskId"].intValue());
  EXPECT_EQ(task.groupId(), view["groupId"].intValue());
  EXPECT_EQ(task.statusDescription(), view["statusDescription"].stringValue());
  EXPECT_EQ(task.text(), view["text"].stringValue());
  EXPECT_EQ(task.staffId(), view["staffId"].intValue());
  Date sent = view["createdDate"].dateValue();
  EXPECT_EQ(task.createdDate(), DateUtils::createSimulatedDateFrom421(sent).value_or(sent));
  ASSERT_NE(task.patient(), nullptr);
  EXPECT_EQ(task.patient()->id(), view["patient"]["patientId"].intValue());
  EXPECT_EQ(task.patient()->firstName(), view["patient"]["fName"].stringValue());
}

TEST_F(RecordsTest, MembersReadUnderTheirOwnKeysWhateverTheOrder) {
  std::mt19937 random(20150421);
  const bj::object original = fullPatient(12);
  for (int round = 0; round < 60; ++round) {
    SCOPED_TRACE(round);
    bj::object patientObject = round % 3 == 0 ? original : variant(original, random);
    if (auto* tasks = patientObject.if_contains("tasks"); tasks && tasks->is_array()) {
      for (auto& element : tasks->as_array()) {
        if (auto* task = element.as_object().if_contains("task"))
          *task = variant(task->as_object(), random);
      }
    }
    const std::string text = bj::serialize(patientObject);
    auto view = json(text);
    Patient* patient = Patient::create(view);
    ASSERT_NE(patient, nullptr);
    expectReadAsTheView(*patient, view);
    auto tasks = patient->tasks();
    if (tasks.size() == 1 && view["tasks"][0]["task"].isObject()) {
      expectReadAsTheView(*tasks[0], view["tasks"][0]["task"]);
    }
  }
}

}  // namespace
}  // namespace orbelin::test
