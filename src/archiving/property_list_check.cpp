#include "orbelin/archiving/property_list_check.h"

#include <plist/plist.h>

#include <string>
#include <string_view>

#include "platform/property_list_bytes.h"

namespace orbelin::archiving {
namespace {

Error checkError(const std::string& why) {
  return Error(error_domain::kPlatform, 3, "The property list cannot be read: " + why + ".");
}

}  // namespace

Status checkPropertyListBytes(std::span<const std::uint8_t> bytes,
                              const PropertyListLimits& limits) {
  std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (auto why =
          platform::propertyListProblem(text, {limits.maxBytes, limits.maxDepth, limits.maxNodes}))
    return checkError(*why);
  return Status::success();
}

void PropertyListDeleter::operator()(void* node) const {
  plist_free(static_cast<plist_t>(node));
}

Result<PropertyListHandle> parsePropertyList(std::span<const std::uint8_t> bytes,
                                             const PropertyListLimits& limits) {
  if (auto status = checkPropertyListBytes(bytes, limits); !status) return status.error();
  const char* data = reinterpret_cast<const char*>(bytes.data());
  auto size = static_cast<std::uint32_t>(bytes.size());
  plist_t root = nullptr;
  if (plist_is_binary(data, size))
    plist_from_bin(data, size, &root);
  else
    plist_from_xml(data, size, &root);
  if (root == nullptr) return checkError("not a property list");
  return PropertyListHandle(root);
}

}  // namespace orbelin::archiving
