#include "orbelin/records/staff.h"

#include "orbelin/records/patient.h"
#include "orbelin/records/task.h"
#include "records/import_support.h"

namespace orbelin {

using records_detail::importEach;
using records_detail::importRecord;
using records_detail::Members;
using records_detail::rowOf;
using TamberNetworking::JSON;

StaffMember* StaffMember::create(const JSON& json) {
  return importRecord<StaffMember>(
      json, [](StaffMember& member, const Members& members, bool nested) {
        if (!nested) return;
        member.setUserInfo(
            UserAppInfo::create(members.view(rowOf<StaffMember>(Static::StaffMemberInfo))));
        member.setRole(Role::create(members.view(rowOf<StaffMember>(Static::StaffMemberRole))));
      });
}

StaffSummary* StaffSummary::create(const JSON& json) {
  return importRecord<StaffSummary>(
      json, [](StaffSummary& summary, const Members& members, bool nested) {
        if (!nested) return;
        auto tasks = members.view(rowOf<StaffSummary>(Static::StaffSummaryOverdueTasks));
        summary.setOverdueTasks(
            importEach<Task>(tasks, [](const JSON& task) { return Task::create(task); }));
      });
}

Role* Role::create(const JSON& json) {
  return importRecord<Role>(json, [](Role&, const Members&, bool) {});
}

// Start and end are kept as sent, not moved onto today.
Shift* Shift::create(const JSON& json) {
  return importRecord<Shift>(json, [](Shift&, const Members&, bool) {});
}

Room* Room::create(const JSON& json) {
  return importRecord<Room>(json, [](Room& room, const Members& members, bool nested) {
    if (!nested) return;
    if (auto patient = members.view(rowOf<Room>(Static::RoomPatient)).optional())
      room.setPatient(Patient::create(*patient));
  });
}

UserAppInfo* UserAppInfo::create(const JSON& json) {
  return importRecord<UserAppInfo>(
      json, [](UserAppInfo& info, const Members& members, bool nested) {
        if (!nested) return;
        auto patients = members.view(rowOf<UserAppInfo>(Static::UserAppInfoPatients));
        info.setPatients(importEach<Patient>(
            patients, [](const JSON& patient) { return Patient::create(patient); }));
      });
}

void UserAppInfo::addTaskObject(Task* task) {
  mutableSetAt(at("tasks")).add(task);
}
void UserAppInfo::removeTaskObject(Task* task) {
  mutableSetAt(at("tasks")).remove(task);
}

}  // namespace orbelin
