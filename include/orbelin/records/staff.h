#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/networking/json.h"
#include "orbelin/records/record.h"

// People and places: staff member, staff summary, role, shift, room and the
// logged-in user's application record. See FirstGenerationRecord for
// ownership and threads. Every create always inserts a new record (no
// find-or-create: importing the same JSON twice gives two records) and
// returns null only when the stack has no context.
namespace orbelin {

class Notification;
class Patient;
class Role;
class Shift;
class Task;
class UserAppInfo;

class StaffMember : public FirstGenerationRecord {
 public:
  struct Static {
    static constexpr std::string_view EntityName = "StaffMember";
    static constexpr std::string_view StaffMemberFirstName = "fName";
    static constexpr std::string_view StaffMemberId = "id";
    static constexpr std::string_view StaffMemberLastName = "lName";
    static constexpr std::string_view StaffMemberShiftId = "shiftId";
    static constexpr std::string_view StaffMemberImage = "image";
    static constexpr std::string_view StaffMemberInfo = "info";
    static constexpr std::string_view StaffMemberRole = "role";
    static constexpr std::string_view StaffMemberPhoneNumber = "phoneNumber";
  };

  // firstName, id, lastName, shiftId, image, a new user record from "info"
  // (with that user's patients), a new role from "role", phoneNumber. A
  // missing "info" or "role" still gives a new, empty record.
  static StaffMember* create(const TamberNetworking::JSON& json);
  static graph::FetchRequest fetchRequest() { return fetchRequestFor(Static::EntityName); }

  static constexpr Property kProperties[] = {
      {"firstName", kText, Static::StaffMemberFirstName},
      {"id", kInteger, Static::StaffMemberId},
      {"lastName", kText, Static::StaffMemberLastName},
      {"shiftId", kInteger, Static::StaffMemberShiftId},
      {"image", kText, Static::StaffMemberImage},
      {"phoneNumber", kText, Static::StaffMemberPhoneNumber},
      {"userInfo", kToOne, Static::StaffMemberInfo, "UserAppInfo", "staffMember"},
      {"role", kToOne, Static::StaffMemberRole, "Role", "staffMembers"},
      {"shifts", kToMany, {}, "Shift", "staffMembers"},
  };

 private:
  static consteval std::size_t at(std::string_view name) { return indexIn(kProperties, name); }

 public:
  std::string firstName() const { return textAt(at("firstName")); }
  void setFirstName(std::string value) { setValueAt(at("firstName"), std::move(value)); }
  std::optional<std::int64_t> id() const { return integerAt(at("id")); }
  void setId(std::optional<std::int64_t> value) { setValueAt(at("id"), value); }
  std::string lastName() const { return textAt(at("lastName")); }
  void setLastName(std::string value) { setValueAt(at("lastName"), std::move(value)); }
  std::optional<std::int64_t> shiftId() const { return integerAt(at("shiftId")); }
  void setShiftId(std::optional<std::int64_t> value) { setValueAt(at("shiftId"), value); }
  std::string image() const { return textAt(at("image")); }
  void setImage(std::string value) { setValueAt(at("image"), std::move(value)); }
  std::string phoneNumber() const { return textAt(at("phoneNumber")); }
  void setPhoneNumber(std::string value) { setValueAt(at("phoneNumber"), std::move(value)); }

  UserAppInfo* userInfo() const { return toOneAt<UserAppInfo>(at("userInfo")); }
  // Keeps UserAppInfo::staffMember in step.
  void setUserInfo(UserAppInfo* userInfo) { setToOneAt(at("userInfo"), userInfo); }
  Role* role() const { return toOneAt<Role>(at("role")); }
  void setRole(Role* role) { setToOneAt(at("role"), role); }  // keeps Role::staffMembers in step
  std::vector<Shift*> shifts() const { return toManyAt<Shift>(at("shifts")); }
  void setShifts(const std::vector<Shift*>& shifts) { setToManyAt(at("shifts"), shifts); }

  // firstName, one space, lastName; a single space when both are empty.
  std::string fullName() const { return firstName() + " " + lastName(); }
};

// One staff member's task counts for a shift.
class StaffSummary : public FirstGenerationRecord {
 public:
  struct Static {
    static constexpr std::string_view EntityName = "StaffSummary";
    static constexpr std::string_view StaffSummaryStaffId = "staffId";
    static constexpr std::string_view StaffSummaryCompletedTasks = "completedTasks";
    static constexpr std::string_view StaffSummaryRemainingTasks = "remainingTasks";
    static constexpr std::string_view StaffSummaryReportedIssues = "reportedIssues";
    static constexpr std::string_view StaffSummaryOverdueTasks = "overdueTasks";
  };

  // staffId, completedTasks, remainingTasks, reportedIssues, then one new
  // task per element of "overdueTasks" (an empty set when there are none).
  static StaffSummary* create(const TamberNetworking::JSON& json);
  static graph::FetchRequest fetchRequest() { return fetchRequestFor(Static::EntityName); }

  static constexpr Property kProperties[] = {
      {"staffId", kInteger, Static::StaffSummaryStaffId},
      {"completedTasks", kInteger, Static::StaffSummaryCompletedTasks},
      {"remainingTasks", kInteger, Static::StaffSummaryRemainingTasks},
      {"reportedIssues", kInteger, Static::StaffSummaryReportedIssues},
      {"id", kInteger},
      {"overdueTasks", kToMany, Static::StaffSummaryOverdueTasks, "Task"},
  };

 private:
  static consteval std::size_t at(std::string_view name) { return indexIn(kProperties, name); }

 public:
  std::optional<std::int64_t> staffId() const { return integerAt(at("staffId")); }
  void setStaffId(std::optional<std::int64_t> value) { setValueAt(at("staffId"), value); }
  std::optional<std::int64_t> completedTasks() const { return integerAt(at("completedTasks")); }
  void setCompletedTasks(std::optional<std::int64_t> v) { setValueAt(at("completedTasks"), v); }
  std::optional<std::int64_t> remainingTasks() const { return integerAt(at("remainingTasks")); }
  void setRemainingTasks(std::optional<std::int64_t> v) { setValueAt(at("remainingTasks"), v); }
  std::optional<std::int64_t> reportedIssues() const { return integerAt(at("reportedIssues")); }
  void setReportedIssues(std::optional<std::int64_t> v) { setValueAt(at("reportedIssues"), v); }
  std::optional<std::int64_t> id() const { return integerAt(at("id")); }
  void setId(std::optional<std::int64_t> value) { setValueAt(at("id"), value); }
  std::vector<Task*> overdueTasks() const { return toManyAt<Task>(at("overdueTasks")); }
  void setOverdueTasks(const std::vector<Task*>& tasks) { setToManyAt(at("overdueTasks"), tasks); }
};

class Role : public FirstGenerationRecord {
 public:
  struct Static {
    static constexpr std::string_view EntityName = "Role";
    static constexpr std::string_view RoleId = "id";
    static constexpr std::string_view RoleLabel = "label";
  };

  // id, label.
  static Role* create(const TamberNetworking::JSON& json);
  static graph::FetchRequest fetchRequest() { return fetchRequestFor(Static::EntityName); }

  static constexpr Property kProperties[] = {
      {"id", kInteger, Static::RoleId},
      {"label", kText, Static::RoleLabel},
      {"staffMembers", kToMany, {}, "StaffMember", "role"},
  };

 private:
  static consteval std::size_t at(std::string_view name) { return indexIn(kProperties, name); }

 public:
  std::optional<std::int64_t> id() const { return integerAt(at("id")); }
  void setId(std::optional<std::int64_t> value) { setValueAt(at("id"), value); }
  std::string label() const { return textAt(at("label")); }
  void setLabel(std::string value) { setValueAt(at("label"), std::move(value)); }
  std::vector<StaffMember*> staffMembers() const {
    return toManyAt<StaffMember>(at("staffMembers"));
  }
};

class Shift : public FirstGenerationRecord {
 public:
  struct Static {
    static constexpr std::string_view EntityName = "Shift";
    static constexpr std::string_view ShiftId = "id";
    static constexpr std::string_view ShiftStartTime = "startTime";
    static constexpr std::string_view ShiftEndTime = "endTime";
  };

  // id, startTime and endTime (as sent, not moved onto today).
  static Shift* create(const TamberNetworking::JSON& json);
  static graph::FetchRequest fetchRequest() { return fetchRequestFor(Static::EntityName); }

  static constexpr Property kProperties[] = {
      {"id", kInteger, Static::ShiftId},
      {"startTime", kDate, Static::ShiftStartTime},
      {"endTime", kDate, Static::ShiftEndTime},
      {"staffMembers", kToMany, {}, "StaffMember", "shifts"},
  };

 private:
  static consteval std::size_t at(std::string_view name) { return indexIn(kProperties, name); }

 public:
  std::optional<std::int64_t> id() const { return integerAt(at("id")); }
  void setId(std::optional<std::int64_t> value) { setValueAt(at("id"), value); }
  OptionalDate startTime() const { return dateAt(at("startTime")); }
  void setStartTime(OptionalDate value) { setValueAt(at("startTime"), value); }
  OptionalDate endTime() const { return dateAt(at("endTime")); }
  void setEndTime(OptionalDate value) { setValueAt(at("endTime"), value); }
  std::vector<StaffMember*> staffMembers() const {
    return toManyAt<StaffMember>(at("staffMembers"));
  }
};

class Room : public FirstGenerationRecord {
 public:
  struct Static {
    static constexpr std::string_view EntityName = "Room";
    static constexpr std::string_view RoomId = "id";
    static constexpr std::string_view RoomName = "name";
    static constexpr std::string_view RoomPatient = "patient";
  };

  // id, name, and a new patient only when "patient" is present (not null).
  static Room* create(const TamberNetworking::JSON& json);
  static graph::FetchRequest fetchRequest() { return fetchRequestFor(Static::EntityName); }

  static constexpr Property kProperties[] = {
      {"id", kInteger, Static::RoomId},
      {"name", kText, Static::RoomName},
      {"patient", kToOne, Static::RoomPatient, "Patient", "room"},
  };

 private:
  static consteval std::size_t at(std::string_view name) { return indexIn(kProperties, name); }

 public:
  std::optional<std::int64_t> id() const { return integerAt(at("id")); }
  void setId(std::optional<std::int64_t> value) { setValueAt(at("id"), value); }
  std::string name() const { return textAt(at("name")); }
  void setName(std::string value) { setValueAt(at("name"), std::move(value)); }
  Patient* patient() const { return toOneAt<Patient>(at("patient")); }
  // Keeps Patient::room in step.
  void setPatient(Patient* patient) { setToOneAt(at("patient"), patient); }
};

// The application's record of the logged-in user (the staff member's "info").
class UserAppInfo : public FirstGenerationRecord {
 public:
  struct Static {
    static constexpr std::string_view EntityName = "UserAppInfo";
    static constexpr std::string_view UserAppInfoUsername = "username";
    static constexpr std::string_view UserAppInfoPatients = "patients";
    static constexpr std::string_view UserAppInfoTasks = "tasks";
  };

  // username, then one new patient per element of "patients". Tasks are not
  // imported; the staff member's import sets staffMember.
  static UserAppInfo* create(const TamberNetworking::JSON& json);
  static graph::FetchRequest fetchRequest() { return fetchRequestFor(Static::EntityName); }

  static constexpr Property kProperties[] = {
      {"username", kText, Static::UserAppInfoUsername},
      {"id", kInteger},
      {"patients", kToMany, Static::UserAppInfoPatients, "Patient", "userInfos"},
      {"tasks", kToMany, {}, "Task", "userInfo"},  // changed only by add/removeTaskObject
      {"notification", kToMany, {}, "Notification", "userInfo"},
      {"staffMember", kToOne, {}, "StaffMember", "userInfo"},
  };

 private:
  static consteval std::size_t at(std::string_view name) { return indexIn(kProperties, name); }

 public:
  std::string username() const { return textAt(at("username")); }
  void setUsername(std::string value) { setValueAt(at("username"), std::move(value)); }
  std::optional<std::int64_t> id() const { return integerAt(at("id")); }
  void setId(std::optional<std::int64_t> value) { setValueAt(at("id"), value); }
  std::vector<Patient*> patients() const { return toManyAt<Patient>(at("patients")); }
  void setPatients(const std::vector<Patient*>& patients) { setToManyAt(at("patients"), patients); }
  std::vector<Task*> tasks() const { return toManyAt<Task>(at("tasks")); }
  std::vector<Notification*> notification() const {
    return toManyAt<Notification>(at("notification"));
  }
  StaffMember* staffMember() const { return toOneAt<StaffMember>(at("staffMember")); }

  // Adds the task to "tasks" (and sets its userInfo); a task already there
  // changes nothing.
  void addTaskObject(Task* task);
  // Removes the task from "tasks" (and clears its userInfo); a task not
  // there changes nothing.
  void removeTaskObject(Task* task);
};

}  // namespace orbelin
