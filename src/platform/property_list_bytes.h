#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace orbelin::platform {

// How much an untrusted property list may hold.
struct PropertyListBounds {
  std::size_t maxBytes = 16 * 1024 * 1024;
  // Nesting of dictionaries and arrays.
  int maxDepth = 64;
  // Objects libplist would build (a shared binary object counts once per
  // reference, as libplist copies it at each) or XML elements.
  std::size_t maxNodes = 200000;
};

// Looks at the bytes of a property list before libplist 2.2 parses them:
// libplist aborts the process on a NUL inside a string or key, parses binary
// lists recursively and expands shared objects, and wraps or cuts integers
// wider than 64 bits without a word. Returns why the bytes are refused, or
// nothing when libplist may have them (which does not make them a valid
// property list):
//   - either form: empty or larger than the bounds; nesting deeper, or more
//     objects, than the bounds; an integer that does not fit a signed 64-bit
//     value (in XML: decimal without leading zeros, or hex after "0x").
//   - XML (anything not starting "bplist00"): a NUL byte or a character
//     reference to NUL; a tag, comment or section that is never closed.
//   - binary: a trailer, offset table, object length or reference that points
//     outside the file; an object of unknown kind; a NUL in a string; a
//     dictionary key that is not a string; references that loop.
// Works without recursion in time linear in the size of the file.
std::optional<std::string> propertyListProblem(std::string_view bytes,
                                               const PropertyListBounds& bounds = {});

}  // namespace orbelin::platform
