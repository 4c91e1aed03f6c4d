#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "orbelin/platform/result.h"

namespace orbelin::archiving {

// Bounds for property lists that come from outside. libplist 2.2 aborts the
// process on a NUL inside a string or key and parses binary lists
// recursively, expanding shared entries, so hostile bytes must be looked at
// before they reach it.
struct PropertyListLimits {
  std::size_t maxBytes = 16 * 1024 * 1024;
  // Nesting of arrays and dictionaries.
  int maxDepth = 64;
  // Nodes libplist would build (shared binary entries count once per use).
  std::size_t maxNodes = 200000;
};

// Checks that bytes are safe to hand to libplist (the same check guards the
// Info.plist): a binary list ("bplist00") whose offset table, lengths and
// references stay inside the data and do not loop, with no NUL in a string,
// only strings as dictionary keys, no unknown object kind and nesting and
// size within the limits; otherwise (XML) no NUL byte and no character reference to NUL, and
// nesting within the limits. In both forms every integer must fit a signed
// 64-bit value (an XML integer written in decimal without leading zeros, or
// in hex after "0x"): libplist would wrap or cut a wider one without a word. Passing the check does
// not mean the bytes are a valid property list; it means libplist may parse them without harm.
// Errors are in the OrbelinPlatform domain.
Status checkPropertyListBytes(std::span<const std::uint8_t> bytes,
                              const PropertyListLimits& limits = {});

// Owner of a libplist node tree (plist_t is a void pointer).
struct PropertyListDeleter {
  void operator()(void* node) const;
};
using PropertyListHandle = std::unique_ptr<void, PropertyListDeleter>;

// Checks the bytes as above, then parses them (binary or XML) with libplist.
// The handle owns the tree; it is never null on success.
Result<PropertyListHandle> parsePropertyList(std::span<const std::uint8_t> bytes,
                                             const PropertyListLimits& limits = {});

}  // namespace orbelin::archiving
