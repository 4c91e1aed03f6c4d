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
// The record classes read their attributes by position in this model, so
// they work only with objects of this model (which is what the shared stack
// loads).
std::shared_ptr<const graph::ManagedObjectModel> buildFirstGenerationModel();

// Registers the model under CoreDataStack::kModelName with
// graph::ModelCatalog, once; later calls do nothing. Every create and
// fetchRequest() calls it, so the shared stack finds the model whenever a
// record is made; a host or store that touches the stack before any record
// should call it first.
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
