// The first-generation login import: a reply of 200 patients with 20 tasks
// each (every task with its nested patient, as the service sends it) read
// into records, against Boost.JSON parsing the same bytes.

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <boost/json.hpp>

#include "orbelin/graph/context.h"
#include "orbelin/networking/json.h"
#include "orbelin/records/records.h"
#include "orbelin/stack/core_data_stack.h"
#include "rows.h"

namespace orbelin::bench {

namespace {

namespace json = boost::json;

constexpr int kPatients = 200;
constexpr int kTasksPerPatient = 20;

json::array texts(const char* stem, int count, int seed) {
  json::array list;
  for (int i = 0; i < count; ++i)
    list.emplace_back(std::string(stem) + " " + std::to_string(seed + i));
  return list;
}

// The patient as it appears nested in a task: identity, dates, staff, room.
json::object shortPatient(int id) {
  return {{"patientId", id},
          {"fName", "First" + std::to_string(id)},
          {"lName", "Last" + std::to_string(id)},
          {"roomNumber", std::to_string(100 + id)},
          {"gender", id % 2 ? "Female" : "Male"},
          {"acuity", id % 5},
          {"birthdate", "1950-03-14"},
          {"admittedDate", "2015-04-18T10:15:00Z"},
          {"dischargedDate", "2015-04-" + std::to_string(20 + id % 5) + "T15:00:00Z"},
          {"physician", "Dr. Raman"},
          {"staffIds", json::array{7, 9, 11}},
          {"room", json::object{{"id", 1000 + id}, {"name", std::to_string(100 + id)}}}};
}

json::object task(int patientId, int number) {
  int id = patientId * 100 + number;
  return {{"taskId", id},
          {"groupId", number % 4},
          {"patient", shortPatient(patientId)},
          {"createdDate", "2015-04-20T" + std::to_string(10 + number % 10) + ":00:00Z"},
          {"type", number % 3},
          {"status", number % 4},
          {"statusDescription", number % 4 == 1 ? "Completed by nurse" : ""},
          {"text", "Task " + std::to_string(id) + ": review the discharge instructions"},
          {"staffId", 7 + number % 3},
          {"dueDate", "2015-04-" + std::to_string(19 + number % 5) + "T08:30:00Z"},
          {"completedDate", "2015-04-21T08:45:00Z"}};
}

json::object fullPatient(int id) {
  json::object patient = shortPatient(id);
  patient["doctorApproval"] = "Approved";
  patient["dischargeDisposition"] = "Home with services";
  patient["ambulatoryStatus"] = "Assist x1";
  patient["codeStatus"] = "Full code";
  patient["dietType"] = "Cardiac";
  patient["immunizationStatus"] = "Up to date";
  patient["coreMeasures"] = "Heart failure";
  patient["status"] = 1;
  patient["diagnoses"] = texts("Diagnosis", 2, id);
  patient["medication"] = texts("Medication", 4, id);
  patient["allergies"] = texts("Allergy", 2, id);
  patient["medicalProblems"] = texts("Problem", 2, id);
  patient["barriers"] = texts("Barrier", 2, id);
  json::array tasks;
  for (int n = 0; n < kTasksPerPatient; ++n)
    tasks.emplace_back(json::object{{"task", task(id, n)}});
  patient["tasks"] = std::move(tasks);
  return patient;
}

std::string loginReply() {
  json::array patients;
  for (int id = 1; id <= kPatients; ++id) patients.emplace_back(fullPatient(id));
  json::object info{{"username", "nurse"}, {"patients", std::move(patients)}};
  json::object staff{{"fName", "Maria"},
                     {"id", 7},
                     {"lName", "Alvarez"},
                     {"shiftId", 3},
                     {"image", "staff7.png"},
                     {"info", std::move(info)},
                     {"role", json::object{{"id", 2}, {"label", "Nurse"}}},
                     {"phoneNumber", "555-0100"}};
  return json::serialize(json::object{{"staffMember", std::move(staff)}});
}

// A fresh context on the shared stack, so each run imports into an empty one.
std::shared_ptr<graph::ManagedObjectContext> freshContext() {
  auto& stack = CoreDataStack::sharedInstance();
  auto context = std::make_shared<graph::ManagedObjectContext>();
  context->setPersistentStoreCoordinator(stack.persistentStoreCoordinator());
  stack.setManagedObjectContext(context);
  return context;
}

}  // namespace

void loginImport(const Options& options) {
  const std::string reply = loginReply();
  std::shared_ptr<graph::ManagedObjectContext> context;
  std::vector<double> parseOnly;
  auto ours = [&] {
    // Dropping the previous run's records frees many small blocks, and the
    // allocator pays for that on the next large allocation: an untimed
    // parse absorbs it, so neither timed step carries it.
    context = freshContext();
    json::parse(reply);
    StaffMember* member = nullptr;
    auto start = Clock::now();
    double seconds = secondsOf([&] {
      auto parsed = TamberNetworking::JSON::parse(reply);
      parseOnly.push_back(secondsSince(start));
      member = StaffMember::create((*parsed)["staffMember"]);
    });
    if (!member || member->userInfo()->patients().size() != kPatients) {
      std::fprintf(stderr, "the login import lost data\n");
      std::abort();
    }
    return seconds;
  };
  auto baseline = [&] {
    return secondsOf([&] {
      if (!json::parse(reply).is_object()) std::abort();
    });
  };
  auto medians = interleaved(options.reps(31, 5), {ours, baseline});
  CoreDataStack::sharedInstance().setManagedObjectContext(freshContext());
  parseOnly.erase(parseOnly.begin());  // the untimed first round
  progress("the parse alone: " + formatSeconds(median(parseOnly)));
  reportTiming("first-generation login import, 200 patients x 20 tasks vs Boost.JSON parse",
               medians[0], medians[1], 2);
}

}  // namespace orbelin::bench
