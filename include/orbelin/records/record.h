#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "orbelin/graph/managed_object.h"
#include "orbelin/platform/date.h"

namespace orbelin {

// Common ground of every first-generation record: typed reads and writes of
// the record's attributes and relationships by their position in the
// "OrbelinData" model (see records/model.h), which skips name lookups.
//
// Ownership and threads: a record belongs to the one thread-confined context
// of CoreDataStack::sharedInstance() and lives until the process ends;
// callers hold raw pointers. Read and change records on the thread that
// imports them (the one that delivers networking replies).
//
// Missing values: a text attribute that holds nothing reads as "", a number
// or a date as std::nullopt; a to-one relationship as null.
class FirstGenerationRecord : public graph::ManagedObject {
 protected:
  std::string textAt(std::size_t index) const { return valueAt(index).stringValue(); }
  std::optional<std::int64_t> integerAt(std::size_t index) const;
  OptionalDate dateAt(std::size_t index) const { return valueAt(index).date(); }

  template <typename T>
  T* toOneAt(std::size_t index) const {
    return dynamic_cast<T*>(objectAt(index));
  }
  template <typename T>
  std::vector<T*> toManyAt(std::size_t index) const {
    std::vector<T*> result;
    auto members = const_cast<FirstGenerationRecord*>(this)->mutableSetAt(index).objects();
    result.reserve(members.size());
    for (auto* member : members) {
      if (auto* record = dynamic_cast<T*>(member)) result.push_back(record);
    }
    return result;
  }
  template <typename T>
  void setToManyAt(std::size_t index, const std::vector<T*>& records) {
    mutableSetAt(index).assign(std::vector<graph::ManagedObject*>(records.begin(), records.end()));
  }
};

}  // namespace orbelin
