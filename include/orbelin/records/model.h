#pragma once

#include <memory>

#include "orbelin/graph/model.h"

namespace orbelin {

// The first-generation entity model ("OrbelinData"): fifteen entities with
// their attributes and relationships. Inverse pairs: Role.staffMembers /
// StaffMember.role, Shift.staffMembers / StaffMember.shifts,
// UserAppInfo.staffMember / StaffMember.userInfo, UserAppInfo.tasks /
// Task.userInfo, UserAppInfo.notification / Notification.userInfo,
// UserAppInfo.patients / Patient.userInfos, Room.patient / Patient.room, and
// each lookup's patients with the patient's set of that kind. The other
// relationships (Task.patient, Patient.tasks, Notification.task,
// Notification.patient, Patient.notifications, Task.notifications,
// StaffSummary.overdueTasks, TaskSummary.userAppInfo) have no inverse, so a
// task keeps its own nested patient when it is added to another patient's
// tasks. All delete rules nullify. Every attribute is optional; integers
// are 64-bit; staffIds is a transformable list.
//
// Built from the records' tables (FirstGenerationRecord::kProperties), in
// whose order the records read their attributes by position, so they work
// only with objects of this model (which is what the shared stack loads).
std::shared_ptr<const graph::ManagedObjectModel> buildFirstGenerationModel();

// Registers the model under CoreDataStack::kModelName with
// graph::ModelCatalog, once; later calls do nothing. It already runs at
// program start in every program that links the records (their link options
// keep the registering object in), so CoreDataStack::sharedInstance() finds
// the model whatever touches it first. Only code that runs before main
// (another static initializer) must call it itself before touching the
// stack or a record.
// Thread safety: any thread.
void registerFirstGenerationModel();

// Nested imports (a task's patient, a patient's tasks and room, a room's
// patient, a user's patients, ...) go at most this many creates deep. A
// create at the limit still inserts its record and fills its own attributes
// but imports none of its nested records: its to-one relationships stay
// empty and its to-many sets are assigned empty. Real replies nest about six
// deep; the limit only stops hostile nesting from exhausting the stack.
inline constexpr int kMaxNestedImportDepth = 64;

}  // namespace orbelin
