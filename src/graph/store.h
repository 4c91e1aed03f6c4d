#pragma once

// Internal: the interface between contexts and the stores behind a coordinator.

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "orbelin/graph/fetch_request.h"
#include "orbelin/graph/managed_object.h"
#include "orbelin/graph/model.h"
#include "orbelin/platform/result.h"

namespace orbelin::graph::detail {

// Reads one stored row's attributes.
class RowReader {
 public:
  virtual ~RowReader() = default;
  virtual Value value(std::size_t attributeIndex) const = 0;
  // The row's version: raised by every save that writes the row.
  virtual std::int64_t version() const = 0;
};
using RowVisitor = std::function<void(std::int64_t primaryKey, const RowReader& row)>;

// Which rows a fetch needs. A store may return more rows than match (the
// context filters, sorts and limits again), never fewer; it applies the
// limit only where it decides the whole predicate and the sort itself.
struct RowQuery {
  const Predicate* predicate = nullptr;
  const std::vector<SortDescriptor>* sort = nullptr;
  std::size_t limit = 0;  // 0: every row
};

// One relationship that an update changed: its state as last read from
// the store. The current state is read from the object.
struct RelationChange {
  std::size_t index = 0;
  ManagedObject* originalToOne = nullptr;                        // to-one
  const std::vector<ManagedObject*>* originalMembers = nullptr;  // to-many
};

// An updated object and what changed since it was last read: only these
// properties are written, so whatever another context or process saved to
// the other properties of the row stays.
struct ObjectUpdate {
  ManagedObject* object = nullptr;
  const std::vector<Value>* originals = nullptr;  // attribute values as last read
  // When set, the attribute values as last read are known by these digests
  // only (storedDigest), and `originals` may be newer than the version.
  const std::uint64_t* digests = nullptr;
  std::vector<std::size_t> attributes;    // changed attribute indices
  std::vector<RelationChange> relations;  // changed relationships
};

// Keys one save reserves for an entity, inside its own write transaction:
// one for each inserted object that still has a temporary key, and `spare`
// more that later insertions take without going to the file.
struct KeyRequest {
  const EntityDescription* entity = nullptr;
  std::int64_t needed = 0;
  std::int64_t spare = 0;
  std::int64_t first = 0;  // set by the store: the first key reserved
};

// What one save writes. Objects are read through ObjectAccess.
struct SaveSet {
  std::vector<ManagedObject*> inserted;
  std::vector<ObjectUpdate> updated;
  std::vector<ManagedObject*> deleted;
  std::vector<KeyRequest> keys;
  // Filled by giveReservedKeys: the objects given a key, with the temporary
  // key each had, so that a failed save can put them back.
  std::vector<std::pair<ManagedObject*, std::int64_t>> replacedKeys;
};

// Gives each inserted object with a temporary key the next key its entity's
// request reserved (every request's `first` set), before rows are written.
void giveReservedKeys(SaveSet& changes);

// How a to-many changed: positions in `after` of the members added and of
// the kept members whose position changed, and the members removed.
struct MemberDiff {
  std::vector<std::size_t> added;
  std::vector<std::size_t> moved;
  std::vector<ManagedObject*> removed;
};
MemberDiff diffMembers(const std::vector<ManagedObject*>& before,
                       const std::vector<ManagedObject*>& after);

// Whether two values of an attribute are stored as the same column value
// (a truth value set as 1 and read back as true are the same).
bool sameStoredValue(const Value& a, const Value& b, AttributeType type);
// A digest of a value as stored: equal for values that sameStoredValue
// calls the same.
std::uint64_t storedDigest(const Value& value, AttributeType type);

// Callers hold the coordinator's store mutex around every call.
class Store {
 public:
  virtual ~Store() = default;
  // The rows of the entity that the query needs, in its sort order, else
  // in primary key order.
  virtual Status fetchRows(const EntityDescription& entity, const RowQuery& query,
                           const RowVisitor& visit) = 0;
  // One row; false when there is none.
  virtual Result<bool> loadRow(const EntityDescription& entity, std::int64_t primaryKey,
                               const RowVisitor& visit) = 0;
  // For each relationship of the entity, the primary keys of the related
  // rows (a to-one has zero or one), ordered relationships in their order.
  virtual Status loadRelations(const EntityDescription& entity, std::int64_t primaryKey,
                               std::vector<std::vector<std::int64_t>>& targets) = 0;
  // All or nothing. An update or deletion of a row that another connection
  // changed since the object was read fails with kMergeConflict when it
  // touches a property that changed there too; otherwise it is written and
  // the object is listed in `refetch`: its other properties are stale and
  // must be read again. Sets the objects' versions on success. Reserves the
  // keys of `changes.keys` (needed + spare each, keys no other connection to
  // the same store hands out) in the same transaction, and gives them out
  // through giveReservedKeys.
  virtual Status save(SaveSet& changes, std::vector<ManagedObject*>& refetch) = 0;
};

// Codes of error_domain::kPersistence that tell why a store did not open.
inline constexpr long kNotThisModel = 11;       // no metadata of ours
inline constexpr long kOtherModelVersion = 12;  // another versionIdentifier
inline constexpr long kNotAStore = 16;          // not a database, or damaged
inline constexpr long kStoreBusy = 17;          // locked past the busy timeout
inline constexpr long kMergeConflict = 133020;  // a property changed in the store since read

std::unique_ptr<Store> makeMemoryStore(const ManagedObjectModel& model);
// `openWait`: how long the open waits for another connection's lock.
Result<std::unique_ptr<Store>> openSQLiteStore(const ManagedObjectModel& model,
                                               const std::filesystem::path& path,
                                               std::chrono::milliseconds openWait);

}  // namespace orbelin::graph::detail
