#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orbelin::platform {

// Looks at the bytes of a property list before libplist 2.2 parses them, since
// libplist aborts the process on a NUL inside a string or key and parses
// binary lists recursively. Returns why the bytes are refused, or nothing when
// libplist may have them:
//   - XML (anything not starting "bplist00"): any NUL byte; dictionaries and
//     arrays nested deeper than HostEnvironment::kMaxPropertyListDepth.
//   - binary: a trailer, offset table, object length or reference that points
//     outside the file; an object of unknown kind; a NUL in a string; a
//     dictionary key that is not a string; references that loop; nesting
//     deeper than the limit; shared objects that would expand to more than a
//     million objects (libplist copies a shared object at each reference).
// Works without recursion in time linear in the size of the file.
std::optional<std::string> propertyListProblem(std::string_view bytes);

}  // namespace orbelin::platform
