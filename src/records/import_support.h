#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "networking/json_access.h"
#include "orbelin/dates/date_utils.h"
#include "orbelin/graph/context.h"
#include "orbelin/graph/value.h"
#include "orbelin/networking/json.h"
#include "orbelin/records/model.h"
#include "orbelin/records/record.h"

// What every first-generation import shares: the shared stack's context, the
// nesting guard, moved dates and enumeration reads.
namespace orbelin::records_detail {

// One create in progress on this thread. The outermost create of an import
// takes the shared stack's context and holds its lock until it ends (nested
// creates use the same context), so thousands of records are made and
// filled without taking the lock once per value. Counts how deep the
// current import is nested, so that hostile nesting stops at
// kMaxNestedImportDepth instead of at the end of the stack.
class ImportScope {
 public:
  ImportScope();
  ~ImportScope();
  ImportScope(const ImportScope&) = delete;
  ImportScope& operator=(const ImportScope&) = delete;

  // A new object of the entity in the import's context, or null when the
  // stack has no context (or the entity is not of class T).
  // REQUIRES: `entityName` outlives the import (a record's Static name).
  template <typename T>
  T* insert(std::string_view entityName) {
    return dynamic_cast<T*>(insertObject(entityName));
  }
  // False at the depth limit: the record gets its own attributes only.
  bool nestedAllowed() const;

 private:
  static graph::ManagedObject* insertObject(std::string_view entityName);

  // Set in the outermost scope only.
  std::shared_ptr<graph::ManagedObjectContext> context_;
  std::optional<graph::ManagedObjectContext::Batch> batch_;
};

// Which of an import's keys each position of the last object it read held,
// for one import on one thread: replies repeat one object shape many times.
struct MemberMemo {
  std::vector<std::uint8_t> keyAt;
};

// The members of one JSON object that an import reads, found in one pass over
// the object instead of one search per key (each a hash or a scan). A key is
// first compared with the one its position held last time. Members are read
// as JSON's own conversions read them; a missing member (or a value that is
// not an object) reads as JSON's null.
class Members {
 public:
  static constexpr std::size_t kMaxKeys = 32;

  // REQUIRES: keys.size() <= kMaxKeys. `memo`: one per import and thread.
  Members(const TamberNetworking::JSON& json, std::span<const std::string_view> keys,
          MemberMemo& memo);

  // Null when missing.
  const boost::json::value* node(std::size_t key) const { return found_[key]; }
  std::string stringValue(std::size_t key) const {
    return TamberNetworking::detail::stringValueOf(found_[key]);
  }
  std::int64_t intValue(std::size_t key) const {
    return TamberNetworking::detail::intValueOf(found_[key]);
  }
  OptionalDate date(std::size_t key) const;
  Date dateValue(std::size_t key) const { return date(key).value_or(Date()); }
  // A view of the member, for imports of nested records.
  TamberNetworking::JSON view(std::size_t key) const {
    return TamberNetworking::detail::JSONAccess::view(json_, found_[key]);
  }

 private:
  const TamberNetworking::JSON& json_;
  std::array<const boost::json::value*, kMaxKeys> found_{};
};

// A service date moved onto today; the date as sent when it cannot be moved.
inline Date movedOntoToday(Date sent) {
  return DateUtils::createSimulatedDateFrom421(sent).value_or(sent);
}

// Sets `slot` to the value of a table row read from its member: plainly, or
// a date moved onto today. Rows of other kinds (lists) are read by hand.
inline void readAttribute(const FirstGenerationRecord::Property& property, const Members& members,
                          std::size_t row, graph::Value& slot) {
  using R = FirstGenerationRecord;
  switch (property.kind) {
    case R::kText:
      slot = members.stringValue(row);
      return;
    case R::kInteger:
      slot = members.intValue(row);
      return;
    case R::kDate: {
      Date sent = members.dateValue(row);
      slot = property.read == R::kMovedOntoToday ? movedOntoToday(sent) : sent;
      return;
    }
    default:
      return;
  }
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

// The JSON keys of a record's table, row by row ("" where a row has none):
// what Members looks for.
template <typename Record>
inline constexpr auto kKeysOf = [] {
  std::array<std::string_view, std::size(Record::kProperties)> keys{};
  for (std::size_t row = 0; row < keys.size(); ++row) keys[row] = Record::kProperties[row].key;
  return keys;
}();

// The row of a record's table that reads `key` (a key no row reads does not
// compile): where Members holds that member.
template <typename Record>
consteval std::size_t rowOf(std::string_view key) {
  for (std::size_t row = 0; row < kKeysOf<Record>.size(); ++row) {
    if (kKeysOf<Record>[row] == key) return row;
  }
  throw "the record reads no such key";
}

// Sets every attribute that the record's table reads plainly or moved onto
// today from its member, in place: one hold of the context's lock per record.
template <typename Record>
void fillAttributes(Record& record, const Members& members) {
  using R = FirstGenerationRecord;
  record.writeValues([&](std::span<graph::Value> values) {
    std::size_t attribute = 0;
    for (std::size_t row = 0; row < std::size(Record::kProperties); ++row) {
      const R::Property& property = Record::kProperties[row];
      if (R::isRelationship(property.kind)) continue;
      std::size_t index = attribute++;
      if (property.key.empty() || property.read == R::kByHand || index >= values.size()) continue;
      readAttribute(property, members, row, values[index]);
    }
  });
}

// A new Record in the shared context, filled from `json`: the attributes its
// table reads plainly, then the rest by `byHand(record, members, nested)`,
// where `nested` is false at the nesting limit (no nested records then).
// Null when the stack has no context.
template <typename Record, typename ByHand>
Record* importRecord(const TamberNetworking::JSON& json, ByHand byHand) {
  static_assert(std::size(Record::kProperties) <= Members::kMaxKeys);
  ImportScope scope;
  auto* record = scope.insert<Record>(Record::Static::EntityName);
  if (!record) return nullptr;
  // Replies repeat one shape of object many times.
  thread_local MemberMemo memo;
  const Members members(json, kKeysOf<Record>, memo);
  fillAttributes(*record, members);
  byHand(*record, members, scope.nestedAllowed());
  return record;
}

}  // namespace orbelin::records_detail
