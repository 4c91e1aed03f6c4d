#include "orbelin/records/model.h"

#include <mutex>

#include "orbelin/graph/model_catalog.h"
#include "orbelin/records/records.h"
#include "orbelin/stack/core_data_stack.h"

namespace orbelin {
namespace {

using graph::AttributeType;
using graph::ModelBuilder;

constexpr AttributeType kText = AttributeType::String;
constexpr AttributeType kInteger = AttributeType::Integer64;
constexpr AttributeType kDate = AttributeType::Date;

// Attributes and relationships are declared in the order of each record's
// AttributeIndex and RelationshipIndex, which is how the records find them.

void addPatient(ModelBuilder& builder) {
  builder.entity<Patient>("Patient")
      .attribute("doctorApproval", kText)
      .attribute("dischargeDisposition", kText)
      .attribute("id", kInteger)
      .attribute("firstName", kText)
      .attribute("lastName", kText)
      .attribute("roomNumber", kText)
      .attribute("gender", kText)
      .attribute("acuity", kInteger)
      .attribute("birthdate", kDate)
      .attribute("ambulatoryStatus", kText)
      .attribute("codeStatus", kText)
      .attribute("dietType", kText)
      .attribute("immunizationStatus", kText)
      .attribute("coreMeasures", kText)
      .attribute("admittedDate", kDate)
      .attribute("status", kInteger)
      .attribute("physician", kText)
      .attribute("dischargedDate", kDate)
      .attribute("staffIds", AttributeType::Transformable)
      .toMany("diagnoses", "Diagnosis", "patients")
      .toMany("medications", "Medication", "patients")
      .toMany("allergies", "Allergy", "patients")
      .toMany("medicalProblems", "MedicalProblem", "patients")
      .toMany("tasks", "Task")
      .toMany("barriers", "Barrier", "patients")
      .toOne("room", "Room", "patient")
      .toMany("notifications", "Notification")
      .toMany("userInfos", "UserAppInfo", "patients");
}

void addTaskRecords(ModelBuilder& builder) {
  builder.entity<Task>("Task")
      .attribute("id", kInteger)
      .attribute("groupId", kInteger)
      .attribute("createdDate", kDate)
      .attribute("type", kInteger)
      .attribute("status", kInteger)
      .attribute("completedDate", kDate)
      .attribute("statusDescription", kText)
      .attribute("text", kText)
      .attribute("staffId", kInteger)
      .attribute("dueDate", kDate)
      .toOne("patient", "Patient")
      .toOne("userInfo", "UserAppInfo", "tasks")
      .toMany("notifications", "Notification");
  builder.entity<TaskSummary>("TaskSummary")
      .attribute("open", kInteger)
      .attribute("completed", kInteger)
      .attribute("patientId", kInteger)
      .attribute("overdue", kInteger)
      .attribute("id", kInteger)
      .toOne("userAppInfo", "UserAppInfo");
  builder.entity<Notification>("Notification")
      .attribute("id", kInteger)
      .attribute("date", kDate)
      .attribute("text", kText)
      .attribute("type", kInteger)
      .attribute("status", kInteger)
      .toOne("task", "Task")
      .toOne("patient", "Patient")
      .toOne("userInfo", "UserAppInfo", "notification");
}

void addStaffRecords(ModelBuilder& builder) {
  builder.entity<StaffMember>("StaffMember")
      .attribute("firstName", kText)
      .attribute("id", kInteger)
      .attribute("lastName", kText)
      .attribute("shiftId", kInteger)
      .attribute("image", kText)
      .attribute("phoneNumber", kText)
      .toOne("userInfo", "UserAppInfo", "staffMember")
      .toOne("role", "Role", "staffMembers")
      .toMany("shifts", "Shift", "staffMembers");
  builder.entity<StaffSummary>("StaffSummary")
      .attribute("staffId", kInteger)
      .attribute("completedTasks", kInteger)
      .attribute("remainingTasks", kInteger)
      .attribute("reportedIssues", kInteger)
      .attribute("id", kInteger)
      .toMany("overdueTasks", "Task");
  builder.entity<Role>("Role")
      .attribute("id", kInteger)
      .attribute("label", kText)
      .toMany("staffMembers", "StaffMember", "role");
  builder.entity<Shift>("Shift")
      .attribute("id", kInteger)
      .attribute("startTime", kDate)
      .attribute("endTime", kDate)
      .toMany("staffMembers", "StaffMember", "shifts");
  builder.entity<Room>("Room")
      .attribute("id", kInteger)
      .attribute("name", kText)
      .toOne("patient", "Patient", "room");
  builder.entity<UserAppInfo>("UserAppInfo")
      .attribute("username", kText)
      .attribute("id", kInteger)
      .toMany("patients", "Patient", "userInfos")
      .toMany("tasks", "Task", "userInfo")
      .toMany("notification", "Notification", "userInfo")
      .toOne("staffMember", "StaffMember", "userInfo");
}

template <typename Lookup>
void addLookup(ModelBuilder& builder, const char* name, const char* inverse) {
  builder.entity<Lookup>(name)
      .attribute("id", kInteger)
      .attribute("name", kText)
      .toMany("patients", "Patient", inverse);
}

void addLookups(ModelBuilder& builder) {
  addLookup<Allergy>(builder, "Allergy", "allergies");
  addLookup<Barrier>(builder, "Barrier", "barriers");
  addLookup<Diagnosis>(builder, "Diagnosis", "diagnoses");
  addLookup<Medication>(builder, "Medication", "medications");
  builder.entity<MedicalProblem>("MedicalProblem")
      .attribute("id", kInteger)
      .attribute("name", kText)
      .toOne("patients", "Patient", "medicalProblems");
}

}  // namespace

std::shared_ptr<const graph::ManagedObjectModel> buildFirstGenerationModel() {
  ModelBuilder builder;
  addPatient(builder);
  addTaskRecords(builder);
  addStaffRecords(builder);
  addLookups(builder);
  auto model = builder.build();
  if (!model) return nullptr;
  return *model;
}

void registerFirstGenerationModel() {
  static std::once_flag once;
  std::call_once(once, [] {
    graph::ModelCatalog::registerModel(CoreDataStack::kModelName, &buildFirstGenerationModel);
  });
}

namespace {
// The model is known from program start, so the shared stack finds it
// whatever touches it first (a host may save before any login). Only the
// builder is registered here; the model is built on first use.
const bool registeredAtStart = (registerFirstGenerationModel(), true);
}  // namespace

}  // namespace orbelin

// Named by the records library's link options (--undefined), so that this
// object, and with it the registration above, is part of every program that
// links the records, even one that has called no record yet.
extern "C" const bool orbelin_records_model_linked = orbelin::registeredAtStart;
