#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <variant>
#include <vector>

#include "orbelin/archiving/keyed_archiver.h"
#include "orbelin/platform/result.h"
#include "orbelin/watch/watch_patient.h"
#include "orbelin/watch/watch_staff_member.h"
#include "orbelin/watch/watch_task.h"

namespace orbelin {

// Error codes (OrbelinPlatform domain) of a watch archive that is a sound
// keyed archive but not one of our objects. Broken archives carry the codes
// of the archiving layer.
inline constexpr long kWatchMissingKeyCode = 20;    // a required key is missing or mistyped
inline constexpr long kWatchUnknownClassCode = 21;  // a class that is none of the three

enum class WatchClass { task, patient, staffMember };

// Maps an archived class name back to one of the three classes: the
// qualified name ("OrbelinData.WatchTask") or its mangled form.
std::optional<WatchClass> watchClassNamed(std::string_view className);

using WatchObject = std::variant<WatchTask, WatchPatient, WatchStaffMember>;

// The archive of one object (binary property list unless XML is asked for).
template <typename T>
Result<std::vector<std::uint8_t>> archiveWatchObject(
    const T& object, archiving::PropertyListFormat format = archiving::PropertyListFormat::binary) {
  return archiving::KeyedArchiver::archivedData(object, format);
}

// Reads an archive whose root is any of the three classes. Never throws or
// aborts on hostile bytes; every failure is an error value.
Result<WatchObject> unarchiveWatchObject(std::span<const std::uint8_t> bytes);

}  // namespace orbelin
