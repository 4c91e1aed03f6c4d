#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "orbelin/dates/date_utils.h"
#include "orbelin/graph/context.h"
#include "orbelin/graph/value.h"
#include "orbelin/networking/json.h"
#include "orbelin/records/model.h"

// What every first-generation import shares: the shared stack's context, the
// nesting guard, moved dates and enumeration reads.
namespace orbelin::records_detail {

// One create in progress on this thread. Holds the context for the duration
// of the create and counts how deep the current import is nested, so that
// hostile nesting stops at kMaxNestedImportDepth instead of at the end of
// the stack.
class ImportScope {
 public:
  ImportScope();
  ~ImportScope();
  ImportScope(const ImportScope&) = delete;
  ImportScope& operator=(const ImportScope&) = delete;

  // A new object of the entity in the shared context, or null when the stack
  // has no context (or the entity is not of class T).
  template <typename T>
  T* insert(std::string_view entityName) {
    if (!context_) return nullptr;
    return dynamic_cast<T*>(context_->insertNewObject(entityName));
  }
  // False at the depth limit: the record gets its own attributes only.
  bool nestedAllowed() const;

 private:
  std::shared_ptr<graph::ManagedObjectContext> context_;
};

// A service date moved onto today; the date as sent when it cannot be moved.
inline Date movedOntoToday(Date sent) {
  return DateUtils::createSimulatedDateFrom421(sent).value_or(sent);
}

// The case whose raw value equals the stored number (compared numerically),
// else `fallback`.
template <typename Enum>
Enum enumFromValue(const graph::Value& value, Enum fallback) {
  auto number = value.number();
  if (!number || !(*number >= 0 && *number <= 16)) return fallback;
  auto raw = static_cast<std::int64_t>(*number);
  if (static_cast<double>(raw) != *number) return fallback;
  return fromRawValue<Enum>(raw).value_or(fallback);
}

// One record per element of a JSON array, made by `make`; nulls dropped.
template <typename T, typename Make>
std::vector<T*> importEach(const TamberNetworking::JSON& array, Make make) {
  std::vector<T*> records;
  records.reserve(array.size());
  for (const TamberNetworking::JSON& element : array) {
    if (T* record = make(element)) records.push_back(record);
  }
  return records;
}

}  // namespace orbelin::records_detail
