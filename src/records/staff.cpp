#include "orbelin/records/staff.h"

#include <array>
#include <string_view>

#include "orbelin/records/patient.h"
#include "orbelin/records/task.h"
#include "records/import_support.h"

namespace orbelin {

using records_detail::importEach;
using TamberNetworking::JSON;

// ---- StaffMember ----

StaffMember* StaffMember::create(const JSON& json) {
  records_detail::ImportScope scope;
  auto* member = scope.insert<StaffMember>(Static::EntityName);
  if (!member) return nullptr;
  bool nested = scope.nestedAllowed();
  member->setValueAt(kFirstName, json[Static::StaffMemberFirstName].stringValue());
  member->setValueAt(kId, json[Static::StaffMemberId].intValue());
  member->setValueAt(kLastName, json[Static::StaffMemberLastName].stringValue());
  member->setValueAt(kShiftId, json[Static::StaffMemberShiftId].intValue());
  member->setValueAt(kImage, json[Static::StaffMemberImage].stringValue());
  if (nested) member->setUserInfo(UserAppInfo::create(json[Static::StaffMemberInfo]));
  if (nested) member->setRole(Role::create(json[Static::StaffMemberRole]));
  member->setValueAt(kPhoneNumber, json[Static::StaffMemberPhoneNumber].stringValue());
  return member;
}

graph::FetchRequest StaffMember::fetchRequest() {
  registerFirstGenerationModel();
  return graph::FetchRequest(std::string(Static::EntityName));
}

UserAppInfo* StaffMember::userInfo() const {
  return toOneAt<UserAppInfo>(kUserInfo);
}
void StaffMember::setUserInfo(UserAppInfo* userInfo) {
  setObjectAt(kUserInfo, userInfo);
}
Role* StaffMember::role() const {
  return toOneAt<Role>(kRole);
}
void StaffMember::setRole(Role* role) {
  setObjectAt(kRole, role);
}
std::vector<Shift*> StaffMember::shifts() const {
  return toManyAt<Shift>(kShifts);
}
void StaffMember::setShifts(const std::vector<Shift*>& shifts) {
  setToManyAt(kShifts, shifts);
}

// ---- StaffSummary ----

StaffSummary* StaffSummary::create(const JSON& json) {
  records_detail::ImportScope scope;
  auto* summary = scope.insert<StaffSummary>(Static::EntityName);
  if (!summary) return nullptr;
  summary->setValueAt(kStaffId, json[Static::StaffSummaryStaffId].intValue());
  summary->setValueAt(kCompletedTasks, json[Static::StaffSummaryCompletedTasks].intValue());
  summary->setValueAt(kRemainingTasks, json[Static::StaffSummaryRemainingTasks].intValue());
  summary->setValueAt(kReportedIssues, json[Static::StaffSummaryReportedIssues].intValue());
  if (scope.nestedAllowed()) {
    summary->setOverdueTasks(importEach<Task>(json[Static::StaffSummaryOverdueTasks],
                                              [](const JSON& task) { return Task::create(task); }));
  }
  return summary;
}

graph::FetchRequest StaffSummary::fetchRequest() {
  registerFirstGenerationModel();
  return graph::FetchRequest(std::string(Static::EntityName));
}

std::vector<Task*> StaffSummary::overdueTasks() const {
  return toManyAt<Task>(kOverdueTasks);
}
void StaffSummary::setOverdueTasks(const std::vector<Task*>& tasks) {
  setToManyAt(kOverdueTasks, tasks);
}

// ---- Role ----

Role* Role::create(const JSON& json) {
  records_detail::ImportScope scope;
  auto* role = scope.insert<Role>(Static::EntityName);
  if (!role) return nullptr;
  role->setValueAt(kId, json[Static::RoleId].intValue());
  role->setValueAt(kLabel, json[Static::RoleLabel].stringValue());
  return role;
}

graph::FetchRequest Role::fetchRequest() {
  registerFirstGenerationModel();
  return graph::FetchRequest(std::string(Static::EntityName));
}

std::vector<StaffMember*> Role::staffMembers() const {
  return toManyAt<StaffMember>(kStaffMembers);
}

// ---- Shift ----

Shift* Shift::create(const JSON& json) {
  records_detail::ImportScope scope;
  auto* shift = scope.insert<Shift>(Static::EntityName);
  if (!shift) return nullptr;
  shift->setValueAt(kId, json[Static::ShiftId].intValue());
  shift->setValueAt(kStartTime, json[Static::ShiftStartTime].dateValue());
  shift->setValueAt(kEndTime, json[Static::ShiftEndTime].dateValue());
  return shift;
}

graph::FetchRequest Shift::fetchRequest() {
  registerFirstGenerationModel();
  return graph::FetchRequest(std::string(Static::EntityName));
}

std::vector<StaffMember*> Shift::staffMembers() const {
  return toManyAt<StaffMember>(kStaffMembers);
}

// ---- Room ----

Room* Room::create(const JSON& json) {
  records_detail::ImportScope scope;
  auto* room = scope.insert<Room>(Static::EntityName);
  if (!room) return nullptr;
  // Every patient of a reply brings its room.
  constexpr std::array<std::string_view, 3> kKeys{Static::RoomId, Static::RoomName,
                                                  Static::RoomPatient};
  thread_local records_detail::MemberMemo memo;
  const records_detail::Members members(json, kKeys, memo);
  room->setValueAt(kId, members.intValue(0));
  room->setValueAt(kName, members.stringValue(1));
  if (scope.nestedAllowed()) {
    if (auto patient = members.view(2).optional()) room->setPatient(Patient::create(*patient));
  }
  return room;
}

graph::FetchRequest Room::fetchRequest() {
  registerFirstGenerationModel();
  return graph::FetchRequest(std::string(Static::EntityName));
}

Patient* Room::patient() const {
  return toOneAt<Patient>(kPatient);
}
void Room::setPatient(Patient* patient) {
  setObjectAt(kPatient, patient);
}

// ---- UserAppInfo ----

UserAppInfo* UserAppInfo::create(const JSON& json) {
  records_detail::ImportScope scope;
  auto* info = scope.insert<UserAppInfo>(Static::EntityName);
  if (!info) return nullptr;
  info->setValueAt(kUsername, json[Static::UserAppInfoUsername].stringValue());
  if (scope.nestedAllowed()) {
    info->setPatients(
        importEach<Patient>(json[Static::UserAppInfoPatients],
                            [](const JSON& patient) { return Patient::create(patient); }));
  }
  return info;
}

graph::FetchRequest UserAppInfo::fetchRequest() {
  registerFirstGenerationModel();
  return graph::FetchRequest(std::string(Static::EntityName));
}

std::vector<Patient*> UserAppInfo::patients() const {
  return toManyAt<Patient>(kPatients);
}
void UserAppInfo::setPatients(const std::vector<Patient*>& patients) {
  setToManyAt(kPatients, patients);
}
std::vector<Task*> UserAppInfo::tasks() const {
  return toManyAt<Task>(kTasks);
}
std::vector<Notification*> UserAppInfo::notification() const {
  return toManyAt<Notification>(kNotification);
}
StaffMember* UserAppInfo::staffMember() const {
  return toOneAt<StaffMember>(kStaffMember);
}

void UserAppInfo::addTaskObject(Task* task) {
  mutableSetAt(kTasks).add(task);
}
void UserAppInfo::removeTaskObject(Task* task) {
  mutableSetAt(kTasks).remove(task);
}

}  // namespace orbelin
