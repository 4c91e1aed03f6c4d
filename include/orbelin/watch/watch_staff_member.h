#pragma once

#include <optional>
#include <string>

#include "orbelin/archiving/keyed_archiver.h"
#include "orbelin/archiving/keyed_unarchiver.h"
#include "orbelin/platform/result.h"

namespace orbelin {

class StaffMember;

// A self-contained copy of a staff member for the companion watch. It has no
// equality of its own: two objects are the same only when they are one
// object (compare addresses); two made from one record are different.
//
// Ownership and threads: a plain value that owns its texts; use a given
// object from one thread at a time; make it on the thread that owns the
// record (see FirstGenerationRecord).
class WatchStaffMember {
 public:
  static constexpr const char* className = "OrbelinData.WatchStaffMember";

  // Copies firstName, lastName, phoneNumber, image and the label of the
  // staff member's role ("" when it has none). Later changes to the record
  // or its role do not reach the object.
  explicit WatchStaffMember(const StaffMember& staffMemeber);

  // Reads the keys written by encodeWithCoder. Fails when "firstname",
  // "lastname", "phoneNumber" or "role" is not a text (missing or null
  // included), or when the archive itself is broken; "image" stays absent
  // when it is missing, null or not a text.
  static Result<WatchStaffMember> fromCoder(const archiving::KeyedDecoder& coder);
  // Writes "firstname", "lastname", "phoneNumber", "image", "role" (the
  // first two in lower case, the same keys as a WatchPatient's).
  void encodeWithCoder(archiving::KeyedEncoder& coder) const;

  std::string firstName;
  std::string lastName;
  std::string phoneNumber;
  std::optional<std::string> image;
  std::string role;

 private:
  WatchStaffMember() = default;
};

}  // namespace orbelin
