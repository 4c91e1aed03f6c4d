#pragma once

// Property-list test helpers shared by the platform suites.

#include <plist/plist.h>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace orbelin::test {

// The XML property list rewritten by libplist as a binary one; empty when
// libplist cannot read the XML.
inline std::string binaryFromXml(const std::string& xml) {
  plist_t root = nullptr;
  plist_from_xml(xml.data(), static_cast<uint32_t>(xml.size()), &root);
  if (!root) return {};
  char* bin = nullptr;
  uint32_t length = 0;
  plist_to_bin(root, &bin, &length);
  std::string bytes(bin, length);
  std::free(bin);
  plist_free(root);
  return bytes;
}

}  // namespace orbelin::test
