#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/graph/fetch_request.h"
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
  static graph::FetchRequest fetchRequest();

  std::string firstName() const { return textAt(kFirstName); }
  void setFirstName(std::string value) { setValueAt(kFirstName, std::move(value)); }
  std::optional<std::int64_t> id() const { return integerAt(kId); }
  void setId(std::optional<std::int64_t> value) { setValueAt(kId, value); }
  std::string lastName() const { return textAt(kLastName); }
  void setLastName(std::string value) { setValueAt(kLastName, std::move(value)); }
  std::optional<std::int64_t> shiftId() const { return integerAt(kShiftId); }
  void setShiftId(std::optional<std::int64_t> value) { setValueAt(kShiftId, value); }
  std::string image() const { return textAt(kImage); }
  void setImage(std::string value) { setValueAt(kImage, std::move(value)); }
  std::string phoneNumber() const { return textAt(kPhoneNumber); }
  void setPhoneNumber(std::string value) { setValueAt(kPhoneNumber, std::move(value)); }

  UserAppInfo* userInfo() const;
  void setUserInfo(UserAppInfo* userInfo);  // keeps UserAppInfo::staffMember in step
  Role* role() const;
  void setRole(Role* role);  // keeps Role::staffMembers in step
  std::vector<Shift*> shifts() const;
  void setShifts(const std::vector<Shift*>& shifts);

  // firstName, one space, lastName; a single space when both are empty.
  std::string fullName() const { return firstName() + " " + lastName(); }

  enum AttributeIndex : std::size_t {
    kFirstName,
    kId,
    kLastName,
    kShiftId,
    kImage,
    kPhoneNumber,
    kAttributeCount
  };
  enum RelationshipIndex : std::size_t { kUserInfo, kRole, kShifts, kRelationshipCount };
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
  static graph::FetchRequest fetchRequest();

  std::optional<std::int64_t> staffId() const { return integerAt(kStaffId); }
  void setStaffId(std::optional<std::int64_t> value) { setValueAt(kStaffId, value); }
  std::optional<std::int64_t> completedTasks() const { return integerAt(kCompletedTasks); }
  void setCompletedTasks(std::optional<std::int64_t> value) { setValueAt(kCompletedTasks, value); }
  std::optional<std::int64_t> remainingTasks() const { return integerAt(kRemainingTasks); }
  void setRemainingTasks(std::optional<std::int64_t> value) { setValueAt(kRemainingTasks, value); }
  std::optional<std::int64_t> reportedIssues() const { return integerAt(kReportedIssues); }
  void setReportedIssues(std::optional<std::int64_t> value) { setValueAt(kReportedIssues, value); }
  std::optional<std::int64_t> id() const { return integerAt(kId); }
  void setId(std::optional<std::int64_t> value) { setValueAt(kId, value); }
  std::vector<Task*> overdueTasks() const;
  void setOverdueTasks(const std::vector<Task*>& tasks);

  enum AttributeIndex : std::size_t {
    kStaffId,
    kCompletedTasks,
    kRemainingTasks,
    kReportedIssues,
    kId,
    kAttributeCount
  };
  enum RelationshipIndex : std::size_t { kOverdueTasks, kRelationshipCount };
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
  static graph::FetchRequest fetchRequest();

  std::optional<std::int64_t> id() const { return integerAt(kId); }
  void setId(std::optional<std::int64_t> value) { setValueAt(kId, value); }
  std::string label() const { return textAt(kLabel); }
  void setLabel(std::string value) { setValueAt(kLabel, std::move(value)); }
  std::vector<StaffMember*> staffMembers() const;

  enum AttributeIndex : std::size_t { kId, kLabel, kAttributeCount };
  enum RelationshipIndex : std::size_t { kStaffMembers, kRelationshipCount };
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
  static graph::FetchRequest fetchRequest();

  std::optional<std::int64_t> id() const { return integerAt(kId); }
  void setId(std::optional<std::int64_t> value) { setValueAt(kId, value); }
  OptionalDate startTime() const { return dateAt(kStartTime); }
  void setStartTime(OptionalDate value) { setValueAt(kStartTime, value); }
  OptionalDate endTime() const { return dateAt(kEndTime); }
  void setEndTime(OptionalDate value) { setValueAt(kEndTime, value); }
  std::vector<StaffMember*> staffMembers() const;

  enum AttributeIndex : std::size_t { kId, kStartTime, kEndTime, kAttributeCount };
  enum RelationshipIndex : std::size_t { kStaffMembers, kRelationshipCount };
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
  static graph::FetchRequest fetchRequest();

  std::optional<std::int64_t> id() const { return integerAt(kId); }
  void setId(std::optional<std::int64_t> value) { setValueAt(kId, value); }
  std::string name() const { return textAt(kName); }
  void setName(std::string value) { setValueAt(kName, std::move(value)); }
  Patient* patient() const;
  void setPatient(Patient* patient);  // keeps Patient::room in step

  enum AttributeIndex : std::size_t { kId, kName, kAttributeCount };
  enum RelationshipIndex : std::size_t { kPatient, kRelationshipCount };
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
  static graph::FetchRequest fetchRequest();

  std::string username() const { return textAt(kUsername); }
  void setUsername(std::string value) { setValueAt(kUsername, std::move(value)); }
  std::optional<std::int64_t> id() const { return integerAt(kId); }
  void setId(std::optional<std::int64_t> value) { setValueAt(kId, value); }
  std::vector<Patient*> patients() const;
  void setPatients(const std::vector<Patient*>& patients);
  std::vector<Task*> tasks() const;
  std::vector<Notification*> notification() const;
  StaffMember* staffMember() const;

  // Adds the task to "tasks" (and sets its userInfo); a task already there
  // changes nothing.
  void addTaskObject(Task* task);
  // Removes the task from "tasks" (and clears its userInfo); a task not
  // there changes nothing.
  void removeTaskObject(Task* task);

  enum AttributeIndex : std::size_t { kUsername, kId, kAttributeCount };
  enum RelationshipIndex : std::size_t {
    kPatients,
    kTasks,
    kNotification,
    kStaffMember,
    kRelationshipCount
  };
};

}  // namespace orbelin
