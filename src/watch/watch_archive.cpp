#include "orbelin/watch/watch_archive.h"

#include <string>

namespace orbelin {
namespace {

template <typename T>
Result<WatchObject> decodeAs(const archiving::KeyedDecoder& coder) {
  auto object = T::fromCoder(coder);
  if (!object) return object.error();
  return WatchObject(std::move(*object));
}

}  // namespace

std::optional<WatchClass> watchClassNamed(std::string_view className) {
  // Older runtimes record a Swift class under its mangled name.
  if (className == WatchTask::className || className == "_TtC11OrbelinData9WatchTask")
    return WatchClass::task;
  if (className == WatchPatient::className || className == "_TtC11OrbelinData12WatchPatient")
    return WatchClass::patient;
  if (className == WatchStaffMember::className ||
      className == "_TtC11OrbelinData16WatchStaffMember")
    return WatchClass::staffMember;
  return std::nullopt;
}

Result<WatchObject> unarchiveWatchObject(std::span<const std::uint8_t> bytes) {
  auto root = archiving::KeyedUnarchiver::rootDecoder(bytes);
  if (!root) return root.error();
  auto kind = watchClassNamed(root->className());
  if (!kind)
    return Error(error_domain::kPlatform, kWatchUnknownClassCode,
                 "The archive holds an object of the unknown class \"" + root->className() + "\".");
  switch (*kind) {
    case WatchClass::task:
      return decodeAs<WatchTask>(*root);
    case WatchClass::patient:
      return decodeAs<WatchPatient>(*root);
    case WatchClass::staffMember:
      break;
  }
  return decodeAs<WatchStaffMember>(*root);
}

}  // namespace orbelin
