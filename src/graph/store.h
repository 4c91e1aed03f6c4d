#pragma once

// Internal: the interface between contexts and the stores behind a coordinator.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

#include "orbelin/graph/managed_object.h"
#include "orbelin/graph/model.h"
#include "orbelin/platform/result.h"

namespace orbelin::graph::detail {

// Reads one stored row's attributes.
class RowReader {
 public:
  virtual ~RowReader() = default;
  virtual Value value(std::size_t attributeIndex) const = 0;
};
using RowVisitor = std::function<void(std::int64_t primaryKey, const RowReader& row)>;

// What one save writes. Objects are read through ObjectAccess; an updated
// object whose relationships are not loaded has unchanged relationships.
struct SaveSet {
  std::vector<ManagedObject*> inserted;
  std::vector<ManagedObject*> updated;
  std::vector<ManagedObject*> deleted;
};

// Callers hold the coordinator's store mutex around every call.
class Store {
 public:
  virtual ~Store() = default;
  // Reserves `count` consecutive primary keys of the entity that no other
  // connection to the same store will hand out, and returns the first.
  virtual Result<std::int64_t> reserveKeys(const EntityDescription& entity, std::int64_t count) = 0;
  // Every row of the entity, in primary key order.
  virtual Status fetchRows(const EntityDescription& entity, const RowVisitor& visit) = 0;
  // One row; false when there is none.
  virtual Result<bool> loadRow(const EntityDescription& entity, std::int64_t primaryKey,
                               const RowVisitor& visit) = 0;
  // For each relationship of the entity, the primary keys of the related
  // rows (a to-one has zero or one), ordered relationships in their order.
  virtual Status loadRelations(const EntityDescription& entity, std::int64_t primaryKey,
                               std::vector<std::vector<std::int64_t>>& targets) = 0;
  // All or nothing.
  virtual Status save(const SaveSet& changes) = 0;
};

// Codes of error_domain::kPersistence that tell why a store did not open.
inline constexpr long kNotThisModel = 11;       // no metadata of ours
inline constexpr long kOtherModelVersion = 12;  // another versionIdentifier
inline constexpr long kNotAStore = 16;          // not a database, or damaged
inline constexpr long kStoreBusy = 17;          // locked past the busy timeout
inline constexpr long kNoPermanentKey = 18;     // an inserted object has a temporary key

std::unique_ptr<Store> makeMemoryStore(const ManagedObjectModel& model);
Result<std::unique_ptr<Store>> openSQLiteStore(const ManagedObjectModel& model,
                                               const std::filesystem::path& path);

}  // namespace orbelin::graph::detail
