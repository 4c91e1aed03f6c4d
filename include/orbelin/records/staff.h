#pragma once

#include <string>

#include "orbelin/networking/json.h"
#include "orbelin/records/staff_properties.h"

// People and places: staff member, staff summary, role, shift, room and the
// logged-in user's application record. See FirstGenerationRecord for
// ownership and threads. Every create always inserts a new record (no
// find-or-create: importing the same JSON twice gives two records) and
// returns null only when the stack has no context. StaffSummary, Role, Shift
// and Room have nothing beyond their properties and create, so their classes
// are written whole from model/records.toml (staff_properties.h).
namespace orbelin {

class StaffMember : public StaffMemberProperties {
 public:
  // firstName, id, lastName, shiftId, image, a new user record from "info"
  // (with that user's patients), a new role from "role", phoneNumber. A
  // missing "info" or "role" still gives a new, empty record.
  static StaffMember* create(const TamberNetworking::JSON& json);

  // firstName, one space, lastName; a single space when both are empty.
  std::string fullName() const { return firstName() + " " + lastName(); }
};

// The application's record of the logged-in user (the staff member's "info").
class UserAppInfo : public UserAppInfoProperties {
 public:
  // username, then one new patient per element of "patients". Tasks are not
  // imported; the staff member's import sets staffMember.
  static UserAppInfo* create(const TamberNetworking::JSON& json);

  // Adds the task to "tasks" (and sets its userInfo); a task already there
  // changes nothing.
  void addTaskObject(Task* task);
  // Removes the task from "tasks" (and clears its userInfo); a task not
  // there changes nothing.
  void removeTaskObject(Task* task);
};

}  // namespace orbelin
