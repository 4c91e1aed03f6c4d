// The SQLite store: opening and checking a file, fetches, key blocks and
// saves. Its tables are described with the schema (sqlite_schema.h).

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <limits>
#include <set>
#include <unordered_map>

#include "graph/object_access.h"
#include "graph/sql_predicate.h"
#include "graph/sqlite_schema.h"
#include "graph/sqlite_values.h"
#include "graph/store.h"
#include "orbelin/graph/coordinator.h"
#include "orbelin/platform/error.h"
#include "orbelin/platform/owner_only_files.h"

namespace orbelin::graph::detail {

namespace {

Error storeError(long code, const std::string& text) {
  return Error(error_domain::kPersistence, code, text);
}

bool isBusy(int code) {
  code &= 0xff;  // the primary code of an extended one
  return code == SQLITE_BUSY || code == SQLITE_LOCKED;
}

// Why the file could not be read as a store: locked by another process,
// not a database (or damaged), or unreadable for some other reason.
Error openError(sqlite3* db, const std::string& path, long codeIfFileIsBad) {
  int code = sqlite3_extended_errcode(db);
  std::string message = sqlite3_errmsg(db);
  if (isBusy(code))
    return storeError(kStoreBusy,
                      "The store " + path + " is locked by another process: " + message);
  int primary = code & 0xff;
  if (primary == SQLITE_NOTADB || primary == SQLITE_CORRUPT || primary == SQLITE_ERROR ||
      primary == SQLITE_SCHEMA)
    return storeError(codeIfFileIsBad, "The file " + path + " is not a store: " + message);
  return storeError(19, "Cannot read the store " + path + ": " + message);
}

class SQLiteStore : public Store {
 public:
  SQLiteStore(const ManagedObjectModel& model, sqlite3* db) : model_(model), db_(db) {}
  ~SQLiteStore() override {
    queries_.clear();  // finalize statements before closing
    entities_.clear();
    sqlite3_close_v2(db_);
  }

  // An empty file is a new store; anything else must be one of ours.
  Status open(const std::string& path) {
    int tables = countTables();
    if (tables < 0) return openError(db_, path, kNotAStore);
    if (tables == 0) {
      if (auto status = createSchema(path); !status) return status;
    } else if (auto status = checkVersion(path); !status) {
      return status;
    }
    exec("PRAGMA journal_mode=WAL");
    exec("PRAGMA synchronous=NORMAL");
    // Files from before the key table get it now (a no-op when it is there).
    if (!exec(kKeyTable)) return openError(db_, path, kNotAStore);
    if (!addMissingVersions() || !addMissingIndexes()) return openError(db_, path, kNotAStore);
    // A file of this version that lacks a table is damaged.
    if (!prepareAll()) return openError(db_, path, kNotAStore);
    return Status::success();
  }

  // Inside the save's transaction, so that a block costs no commit of its
  // own. Above both the reserved maximum and the largest key in the table,
  // so that rows written without a reservation are never overwritten.
  Status reserve(KeyRequest& request) {
    const EntityDescription& entity = *request.entity;
    EntitySQL& e = sql(entity);
    std::int64_t highest = 0;
    for (Statement* query : {&e.reservedKey, &e.maxKey}) {
      sqlite3_stmt* stmt = query->begin();
      if (query == &e.reservedKey) sqlite3_bind_text(stmt, 1, entity.name().c_str(), -1, nullptr);
      int rc = sqlite3_step(stmt);
      if (rc == SQLITE_ROW)
        highest = std::max<std::int64_t>(highest, sqlite3_column_int64(stmt, 0));
      sqlite3_reset(stmt);
      if (rc != SQLITE_ROW && rc != SQLITE_DONE)
        return failure("reserve keys for " + entity.name());
    }
    // Keys past the block's end must still be representable: a file whose
    // highest key sits near the top of int64 (tampered or used up) cannot
    // give out keys, and wrapping would hand out keys that do not persist.
    const std::int64_t count = request.needed + request.spare;
    if (count <= 0 || highest > std::numeric_limits<std::int64_t>::max() - count - 1)
      return storeError(10, "The keys of " + entity.name() +
                                " are used up: the store's highest key is " +
                                std::to_string(highest) + ".");
    sqlite3_stmt* stmt = e.reserveKeys.begin();
    sqlite3_bind_text(stmt, 1, entity.name().c_str(), -1, nullptr);
    sqlite3_bind_int64(stmt, 2, highest + count);
    if (!step(stmt)) return failure("reserve keys for " + entity.name());
    request.first = highest + 1;
    return Status::success();
  }

  // The predicate's translated part becomes the WHERE clause (through the
  // indexes), and a sort and limit SQL can decide become ORDER BY and LIMIT.
  Status fetchRows(const EntityDescription& entity, const RowQuery& query,
                   const RowVisitor& visit) override {
    const bool sorted = query.sort && !query.sort->empty();
    if (!query.predicate && !sorted && query.limit == 0) return fetchAll(entity, visit);
    SqlPredicate translator(entity, &quoted);
    SqlCondition where;
    bool exact = true;
    if (query.predicate) {
      auto whole = translator.exact(*query.predicate);
      exact = whole.has_value();
      where = whole ? std::move(*whole) : translator.superset(*query.predicate);
    }
    auto order = sorted ? translator.orderBy(*query.sort) : std::optional<std::string>("Z_PK");
    std::string text = "SELECT " + sql(entity).rowColumns + " FROM " + tableName(entity);
    if (!where.text.empty()) text += " WHERE " + where.text;
    text += " ORDER BY " + order.value_or("Z_PK");
    // A parameter, not a literal: one cached statement serves every limit.
    const bool limited = exact && order && query.limit > 0;
    if (limited) text += " LIMIT ?";
    Statement* statement = cachedQuery(text);
    if (!statement) return failure("fetch " + entity.name());
    sqlite3_stmt* stmt = statement->begin();
    int parameter = 0;
    for (const Value& value : where.parameters) bindValue(stmt, ++parameter, value);
    if (limited) {
      constexpr auto kMost = static_cast<std::size_t>(std::numeric_limits<sqlite3_int64>::max());
      sqlite3_bind_int64(stmt, ++parameter,
                         static_cast<sqlite3_int64>(std::min(query.limit, kMost)));
    }
    return visitRows(stmt, entity, visit);
  }

  Status fetchAll(const EntityDescription& entity, const RowVisitor& visit) {
    return visitRows(sql(entity).selectAll.begin(), entity, visit);
  }

  Status visitRows(sqlite3_stmt* stmt, const EntityDescription& entity, const RowVisitor& visit) {
    StatementReader reader(stmt, entity);
    int rc;
    while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) visit(readInteger(stmt, 0), reader);
    sqlite3_reset(stmt);
    return rc == SQLITE_DONE ? Status::success() : failure("fetch " + entity.name());
  }

  Result<bool> loadRow(const EntityDescription& entity, std::int64_t primaryKey,
                       const RowVisitor& visit) override {
    sqlite3_stmt* stmt = sql(entity).selectOne.begin();
    sqlite3_bind_int64(stmt, 1, primaryKey);
    int rc = sqlite3_step(stmt);
    if (rc == SQLITE_ROW) visit(primaryKey, StatementReader(stmt, entity));
    sqlite3_reset(stmt);
    if (rc != SQLITE_ROW && rc != SQLITE_DONE) return failure("load " + entity.name()).error();
    return rc == SQLITE_ROW;
  }

  Status loadRelations(const EntityDescription& entity, std::int64_t primaryKey,
                       std::vector<std::vector<std::int64_t>>& targets) override {
    EntitySQL& e = sql(entity);
    targets.assign(entity.relationships().size(), {});
    if (!e.toOnes.empty()) {
      sqlite3_stmt* stmt = e.selectToOnes.begin();
      sqlite3_bind_int64(stmt, 1, primaryKey);
      if (sqlite3_step(stmt) == SQLITE_ROW) {
        for (std::size_t c = 0; c < e.toOnes.size(); ++c)
          if (sqlite3_column_type(stmt, static_cast<int>(c)) != SQLITE_NULL)
            targets[e.toOnes[c]].push_back(sqlite3_column_int64(stmt, static_cast<int>(c)));
      }
      sqlite3_reset(stmt);
    }
    for (const auto& r : entity.relationships()) {
      if (!r.toMany) continue;
      sqlite3_stmt* stmt = e.relations[r.index].selectMembers.begin();
      sqlite3_bind_int64(stmt, 1, primaryKey);
      int rc;
      while ((rc = sqlite3_step(stmt)) == SQLITE_ROW)
        targets[r.index].push_back(sqlite3_column_int64(stmt, 0));
      sqlite3_reset(stmt);
      if (rc != SQLITE_DONE) return failure("load " + entity.name() + "." + r.name);
    }
    return Status::success();
  }

  Status save(SaveSet& changes, std::vector<ManagedObject*>& refetch) override {
    if (!exec("BEGIN IMMEDIATE")) return failure("begin a transaction");
    Status status = Status::success();
    for (KeyRequest& request : changes.keys)
      if (status) status = reserve(request);
    if (status) giveReservedKeys(changes);
    std::vector<std::pair<ManagedObject*, std::int64_t>> versions;
    if (status) status = checkVersions(changes, versions, refetch);
    if (status) status = writeAll(changes);
    if (status && !exec("COMMIT")) status = failure("commit");
    if (!status) {
      exec("ROLLBACK");
      refetch.clear();
      return status;
    }
    for (ManagedObject* object : changes.inserted) ObjectAccess::version(*object) = 1;
    for (auto [object, version] : versions) ObjectAccess::version(*object) = version;
    return Status::success();
  }

 private:
  bool exec(const std::string& text) {
    return sqlite3_exec(db_, text.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
  }
  Status failure(const std::string& what) {
    long code = isBusy(sqlite3_extended_errcode(db_)) ? kStoreBusy : 10;
    return storeError(code, "SQLite could not " + what + ": " + sqlite3_errmsg(db_));
  }
  // The failure, after rolling back the transaction it happened in.
  Error abandon(const std::string& what) {
    Error error = failure(what).error();
    exec("ROLLBACK");
    return error;
  }
  EntitySQL& sql(const EntityDescription& entity) { return entities_[entity.position()]; }

  // Fetches repeat the same few shapes of query: each is prepared once.
  Statement* cachedQuery(const std::string& text) {
    if (queries_.size() > kMaxCachedQueries) queries_.clear();
    auto& statement = queries_[text];
    if (!statement) {
      statement = std::make_unique<Statement>();
      if (!statement->prepare(db_, text)) {
        queries_.erase(text);
        return nullptr;
      }
    }
    return statement.get();
  }

  // Two processes may find the same new, empty file at once: the schema is
  // written under the write lock, by whichever takes it first.
  Status createSchema(const std::string& path) {
    if (!exec("BEGIN IMMEDIATE")) return openError(db_, path, kNotAStore);
    int tables = countTables();
    if (tables < 0) return abandonOpen(path);
    if (tables > 0) {
      exec("ROLLBACK");
      return checkVersion(path);
    }
    if (!exec(schemaText(model_))) return abandon("create the tables");
    Statement put;
    if (!put.prepare(db_, "INSERT INTO Z_METADATA (Z_KEY, Z_VALUE) VALUES (?, ?)")) {
      exec("ROLLBACK");
      return failure("record the model version");
    }
    sqlite3_stmt* stmt = put.begin();
    sqlite3_bind_text(stmt, 1, kVersionKey, -1, SQLITE_STATIC);
    sqlite3_bind_text(stmt, 2, model_.versionIdentifier().c_str(), -1, SQLITE_STATIC);
    bool stored = sqlite3_step(stmt) == SQLITE_DONE;
    sqlite3_reset(stmt);
    if (!stored || !exec("COMMIT")) {
      Status failed = failure("record the model version");
      exec("ROLLBACK");
      return failed;
    }
    return Status::success();
  }

  Status checkVersion(const std::string& path) {
    Statement get;
    if (!get.prepare(db_, "SELECT Z_VALUE FROM Z_METADATA WHERE Z_KEY = ?")) {
      Error error = openError(db_, path, kNotThisModel);
      if (error.code() != kNotThisModel) return error;
      return storeError(kNotThisModel, "The store was not written by this model.");
    }
    sqlite3_stmt* stmt = get.begin();
    sqlite3_bind_text(stmt, 1, kVersionKey, -1, SQLITE_STATIC);
    std::string version;
    int rc = sqlite3_step(stmt);
    if (rc == SQLITE_ROW && sqlite3_column_text(stmt, 0))
      version = reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0));
    sqlite3_reset(stmt);
    if (rc != SQLITE_ROW && rc != SQLITE_DONE) return openError(db_, path, kNotAStore);
    if (version != model_.versionIdentifier())
      return storeError(kOtherModelVersion, "The store was written by another model version (" +
                                                version + "), this model is " +
                                                model_.versionIdentifier() + ".");
    return Status::success();
  }

  Error abandonOpen(const std::string& path) {
    Error error = openError(db_, path, kNotAStore);
    exec("ROLLBACK");
    return error;
  }

  // Files written before rows carried versions get the column, every row at
  // version 1, under the write lock so that two processes never both add it.
  bool addMissingVersions() {
    auto missing = [&](const EntityDescription& entity) {
      Statement probe;
      return !probe.prepare(db_, "SELECT Z_OPT FROM " + tableName(entity) + " LIMIT 0");
    };
    if (std::none_of(model_.entities().begin(), model_.entities().end(),
                     [&](const auto& entity) { return missing(*entity); }))
      return true;
    if (!exec("BEGIN IMMEDIATE")) return false;
    for (const auto& entity : model_.entities()) {
      if (!missing(*entity)) continue;
      if (!exec("ALTER TABLE " + tableName(*entity) + " ADD COLUMN " + kVersionColumn)) {
        exec("ROLLBACK");
        return false;
      }
    }
    return exec("COMMIT");
  }

  // An index on each entity's identifier attribute and on every to-one
  // column, so that finding an object by its identifier and the members of
  // a relationship stay fast as the store grows. Files written before get
  // them on their next open, under the write lock.
  bool addMissingIndexes() {
    std::vector<std::pair<std::string, std::string>> wanted;  // name, DDL
    auto want = [&](const EntityDescription& entity, const std::string& column) {
      std::string name = "Z_" + entity.name() + "_" + column + "_INDEX";
      wanted.emplace_back(name, "CREATE INDEX IF NOT EXISTS " + (quoted)(name) + " ON " +
                                    tableName(entity) + " (" + (quoted)(column) + ")");
    };
    for (const auto& entity : model_.entities()) {
      auto identifier = entity->makeObject()->identifierAttributeName();
      if (identifier && entity->attribute(*identifier)) want(*entity, *identifier);
      for (const auto& r : entity->relationships())
        if (!r.toMany) want(*entity, r.name);
    }
    std::set<std::string> existing;
    Statement names;
    if (!names.prepare(db_, "SELECT name FROM sqlite_master WHERE type = 'index'")) return false;
    for (sqlite3_stmt* stmt = names.begin(); sqlite3_step(stmt) == SQLITE_ROW;)
      existing.insert(reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0)));
    std::erase_if(wanted, [&](const auto& index) { return existing.count(index.first) > 0; });
    if (wanted.empty()) return true;
    if (!exec("BEGIN IMMEDIATE")) return false;
    for (const auto& [name, ddl] : wanted) {
      if (!exec(ddl)) {
        exec("ROLLBACK");
        return false;
      }
    }
    return exec("COMMIT");
  }

  // Tables in the file, or -1 when the schema cannot be read.
  int countTables() {
    Statement count;
    if (!count.prepare(db_, "SELECT count(*) FROM sqlite_master")) return -1;
    sqlite3_stmt* stmt = count.begin();
    int tables = sqlite3_step(stmt) == SQLITE_ROW ? sqlite3_column_int(stmt, 0) : -1;
    sqlite3_reset(stmt);
    return tables;
  }

  bool prepareAll() {
    entities_ = std::vector<EntitySQL>(model_.entities().size());
    for (const auto& entity : model_.entities())
      if (!prepareStatements(db_, *entity, sql(*entity))) return false;
    return true;
  }

  bool step(sqlite3_stmt* stmt) {
    bool done = sqlite3_step(stmt) == SQLITE_DONE;
    sqlite3_reset(stmt);
    return done;
  }

  static std::int64_t keyOf(const ManagedObject* object) {
    return object ? ObjectAccess::primaryKey(*object) : 0;
  }

  void bindToOnes(sqlite3_stmt* stmt, int first, ManagedObject& object, const EntitySQL& e) {
    auto slots = ObjectAccess::relations(object);
    for (std::size_t c = 0; c < e.toOnes.size(); ++c) {
      ManagedObject* target = slots[e.toOnes[c]].toOne;
      int position = first + static_cast<int>(c);
      if (target)
        sqlite3_bind_int64(stmt, position, keyOf(target));
      else
        sqlite3_bind_null(stmt, position);
    }
  }

  bool insertRow(ManagedObject& object) {
    EntitySQL& e = sql(object.entity());
    sqlite3_stmt* stmt = e.insert.begin();
    sqlite3_bind_int64(stmt, 1, keyOf(&object));
    const auto values = ObjectAccess::values(object);
    for (std::size_t i = 0; i < values.size(); ++i)
      bindValue(stmt, static_cast<int>(i) + 2, values[i]);
    bindToOnes(stmt, static_cast<int>(values.size()) + 2, object, e);
    return step(stmt);
  }

  // The statement that writes these columns and raises the row's version.
  Statement* updateStatement(const EntityDescription& entity,
                             const std::vector<std::size_t>& columns) {
    EntitySQL& e = sql(entity);
    auto& statement = e.updates[columns];
    if (statement) return statement.get();
    std::string sets;
    for (std::size_t column : columns) sets += e.columnNames[column] + " = ?, ";
    statement = std::make_unique<Statement>();
    if (!statement->prepare(db_, "UPDATE " + tableName(entity) + " SET " + sets +
                                     "Z_OPT = Z_OPT + 1 WHERE Z_PK = ?")) {
      statement.reset();
      return nullptr;
    }
    return statement.get();
  }

  // The to-one column of a relationship, counted after the attributes.
  static std::size_t toOneColumn(const EntitySQL& e, std::size_t relationship) {
    auto it = std::find(e.toOnes.begin(), e.toOnes.end(), relationship);
    return static_cast<std::size_t>(it - e.toOnes.begin());
  }

  bool updateRow(const ObjectUpdate& update) {
    ManagedObject& object = *update.object;
    const EntityDescription& entity = object.entity();
    EntitySQL& e = sql(entity);
    std::vector<std::size_t> columns = update.attributes;
    for (const RelationChange& change : update.relations)
      if (!entity.relationships()[change.index].toMany)
        columns.push_back(entity.attributes().size() + toOneColumn(e, change.index));
    Statement* statement = updateStatement(entity, columns);
    if (!statement) return false;
    sqlite3_stmt* stmt = statement->begin();
    const auto values = ObjectAccess::values(object);
    const auto slots = ObjectAccess::relations(object);
    int position = 1;
    for (std::size_t column : columns) {
      if (column < values.size()) {
        bindValue(stmt, position++, values[column]);
        continue;
      }
      ManagedObject* target = slots[e.toOnes[column - values.size()]].toOne;
      if (target)
        sqlite3_bind_int64(stmt, position++, keyOf(target));
      else
        sqlite3_bind_null(stmt, position++);
    }
    sqlite3_bind_int64(stmt, position, keyOf(&object));
    return step(stmt);
  }

  // Join-table rows and member order of a new object's to-many relationships.
  bool writeMembers(ManagedObject& object) {
    EntitySQL& e = sql(object.entity());
    auto slots = ObjectAccess::relations(object);
    for (const auto& r : object.entity().relationships()) {
      const auto& members = slots[r.index].members;
      for (std::size_t i = 0; i < members.size(); ++i)
        if (!writeMember(e.relations[r.index], r, object, members[i], i, true)) return false;
    }
    return true;
  }

  // One member at position `position`: its join row (added, or its order
  // moved) or its order column.
  bool writeMember(RelationSQL& rs, const RelationshipDescription& r, ManagedObject& owner,
                   ManagedObject* member, std::size_t position, bool added) {
    const auto order = static_cast<std::int64_t>(position);
    if (usesJoinTable(r)) {
      sqlite3_stmt* stmt = added ? rs.insertMember.begin() : rs.updateMemberOrder.begin();
      int first = added ? 1 : 2;
      sqlite3_bind_int64(stmt, first, keyOf(&owner));
      sqlite3_bind_int64(stmt, first + 1, keyOf(member));
      sqlite3_bind_int64(stmt, added ? 3 : 1, order);
      return step(stmt);
    }
    if (!r.toMany || !r.ordered) return true;  // the member's own to-one column says it all
    sqlite3_stmt* stmt = rs.updateOrder.begin();
    sqlite3_bind_int64(stmt, 1, order);
    sqlite3_bind_int64(stmt, 2, keyOf(member));
    return step(stmt);
  }

  // Only the members that changed: rows of other members, which another
  // connection may have written meanwhile, stay as they are.
  bool writeChangedMembers(const ObjectUpdate& update) {
    ManagedObject& object = *update.object;
    EntitySQL& e = sql(object.entity());
    for (const RelationChange& change : update.relations) {
      const RelationshipDescription& r = object.entity().relationships()[change.index];
      if (!r.toMany || !change.originalMembers) continue;
      RelationSQL& rs = e.relations[r.index];
      const auto& members = ObjectAccess::relations(object)[r.index].members;
      MemberDiff diff = diffMembers(*change.originalMembers, members);
      if (usesJoinTable(r)) {
        for (ManagedObject* removed : diff.removed) {
          sqlite3_stmt* stmt = rs.deleteMember.begin();
          sqlite3_bind_int64(stmt, 1, keyOf(&object));
          sqlite3_bind_int64(stmt, 2, keyOf(removed));
          if (!step(stmt)) return false;
        }
      }
      for (std::size_t i : diff.added)
        if (!writeMember(rs, r, object, members[i], i, true)) return false;
      if (!r.ordered) continue;
      for (std::size_t i : diff.moved)
        if (!writeMember(rs, r, object, members[i], i, false)) return false;
    }
    return true;
  }

  bool deleteRow(ManagedObject& object) {
    EntitySQL& e = sql(object.entity());
    sqlite3_stmt* stmt = e.deleteRow.begin();
    sqlite3_bind_int64(stmt, 1, keyOf(&object));
    if (!step(stmt)) return false;
    for (const auto& r : object.entity().relationships()) {
      if (!usesJoinTable(r)) continue;
      stmt = e.relations[r.index].deleteOwner.begin();
      sqlite3_bind_int64(stmt, 1, keyOf(&object));
      if (!step(stmt)) return false;
    }
    // Join tables of other entities that point here (one-way relationships included).
    for (const auto& other : model_.entities()) {
      for (const auto& r : other->relationships()) {
        if (!usesJoinTable(r) || r.destination != &object.entity()) continue;
        stmt = sql(*other).relations[r.index].deleteTarget.begin();
        sqlite3_bind_int64(stmt, 1, keyOf(&object));
        if (!step(stmt)) return false;
      }
    }
    return true;
  }

  Status writeAll(const SaveSet& changes) {
    for (ManagedObject* object : changes.deleted)
      if (!deleteRow(*object)) return failure("delete from " + object->entity().name());
    for (ManagedObject* object : changes.inserted)
      if (!insertRow(*object)) return failure("insert into " + object->entity().name());
    for (const ObjectUpdate& update : changes.updated)
      if (!updateRow(update)) return failure("update " + update.object->entity().name());
    for (ManagedObject* object : changes.inserted)
      if (!writeMembers(*object)) return failure("write " + object->entity().name());
    for (const ObjectUpdate& update : changes.updated)
      if (!writeChangedMembers(update)) return failure("write " + update.object->entity().name());
    return Status::success();
  }

  // The properties of an update that another connection changed to another
  // value since the object was read: the names, comma-separated.
  std::string conflictingProperties(const ObjectUpdate& update, sqlite3_stmt* row) {
    ManagedObject& object = *update.object;
    const EntityDescription& entity = object.entity();
    const auto values = ObjectAccess::values(object);
    std::string names;
    auto add = [&](const std::string& name) { names += (names.empty() ? "" : ", ") + name; };
    for (std::size_t i : update.attributes) {
      Value stored = readColumn(row, static_cast<int>(i) + 1, entity.attributes()[i].type);
      AttributeType type = entity.attributes()[i].type;
      bool changedThere = update.digests ? storedDigest(stored, type) != update.digests[i]
                                         : !sameStoredValue(stored, (*update.originals)[i], type);
      if (changedThere && !sameStoredValue(stored, values[i], type))
        add(entity.attributes()[i].name);
    }
    const EntitySQL& e = sql(entity);
    for (const RelationChange& change : update.relations) {
      const RelationshipDescription& r = entity.relationships()[change.index];
      if (r.toMany) continue;  // members are added and removed one by one: no conflict
      int column = static_cast<int>(values.size() + toOneColumn(e, r.index)) + 1;
      std::int64_t stored = sqlite3_column_int64(row, column);
      std::int64_t now = keyOf(ObjectAccess::relations(object)[r.index].toOne);
      if (stored != keyOf(change.originalToOne) && stored != now) add(r.name);
    }
    return names;
  }

  // Compares the versions of the rows this save updates or deletes with the
  // versions their objects were read at, inside the save's transaction.
  Status checkVersions(const SaveSet& changes,
                       std::vector<std::pair<ManagedObject*, std::int64_t>>& versions,
                       std::vector<ManagedObject*>& refetch) {
    std::string conflicts;
    auto conflict = [&](ManagedObject& object, const std::string& what) {
      conflicts += (conflicts.empty() ? "" : "; ") + object.entity().name() + " " +
                   std::to_string(keyOf(&object)) + " (" + what + ")";
    };
    for (const ObjectUpdate& update : changes.updated) {
      ManagedObject& object = *update.object;
      sqlite3_stmt* row = sql(object.entity()).selectCheck.begin();
      sqlite3_bind_int64(row, 1, keyOf(&object));
      int rc = sqlite3_step(row);
      if (rc == SQLITE_ROW) {
        std::int64_t stored = sqlite3_column_int64(row, 0);
        if (stored != ObjectAccess::version(object)) {
          std::string names = conflictingProperties(update, row);
          if (names.empty())
            refetch.push_back(&object);
          else
            conflict(object, names);
        }
        versions.emplace_back(&object, stored + 1);
      } else if (rc == SQLITE_DONE) {
        conflict(object, "deleted elsewhere");
      }
      sqlite3_reset(row);
      if (rc != SQLITE_ROW && rc != SQLITE_DONE) return failure("read " + object.entity().name());
    }
    for (ManagedObject* object : changes.deleted) {
      sqlite3_stmt* row = sql(object->entity()).selectCheck.begin();
      sqlite3_bind_int64(row, 1, keyOf(object));
      int rc = sqlite3_step(row);
      if (rc == SQLITE_ROW && sqlite3_column_int64(row, 0) != ObjectAccess::version(*object))
        conflict(*object, "changed elsewhere, not deleted");
      sqlite3_reset(row);
      if (rc != SQLITE_ROW && rc != SQLITE_DONE) return failure("read " + object->entity().name());
    }
    if (conflicts.empty()) return Status::success();
    return storeError(kMergeConflict,
                      "Changes saved elsewhere since these objects were read conflict with "
                      "this save: " +
                          conflicts + ".");
  }

  static constexpr std::size_t kMaxCachedQueries = 256;

  const ManagedObjectModel& model_;
  sqlite3* db_;
  std::vector<EntitySQL> entities_;  // by entity position
  std::unordered_map<std::string, std::unique_ptr<Statement>> queries_;
};

// Whether the file is empty (a new store) or starts as an SQLite database
// does. Anything else is refused before SQLite opens it: SQLite would treat
// the companion -wal and -shm files beside it as its own and remove them,
// while they belong with the file when it is set aside.
bool looksLikeSQLite(const std::filesystem::path& path) {
  static constexpr char kMagic[] = "SQLite format 3";  // with its NUL: 16 bytes
  std::ifstream in(path, std::ios::binary);
  std::array<char, sizeof kMagic> header{};
  in.read(header.data(), header.size());
  if (in.gcount() == 0) return true;
  return in.gcount() == static_cast<std::streamsize>(header.size()) &&
         std::equal(header.begin(), header.end(), kMagic);
}

}  // namespace

Result<std::unique_ptr<Store>> openSQLiteStore(const ManagedObjectModel& model,
                                               const std::filesystem::path& path,
                                               std::chrono::milliseconds openWait) {
  std::error_code ec;
  bool created = false;
  if (std::filesystem::exists(path, ec)) {
    if (!std::filesystem::is_regular_file(path, ec))
      return storeError(14, "The store location " + path.string() + " is not a file.");
    if (!looksLikeSQLite(path))
      return storeError(kNotAStore, "The file " + path.string() +
                                        " is not a store: it is not an "
                                        "SQLite database.");
  } else {
    auto made = platform::createOwnerOnlyFile(path);
    if (!made) return storeError(13, made.error().localizedDescription());
    created = *made;
  }
  // Only a file this call created and nobody has written to yet is removed.
  auto discardNew = [&] {
    if (created && std::filesystem::file_size(path, ec) == 0) std::filesystem::remove(path, ec);
  };
  sqlite3* db = nullptr;
  // No SQLite mutex: the coordinator's store lock already serializes every
  // call on this connection.
  if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr) !=
      SQLITE_OK) {
    std::string message = db ? sqlite3_errmsg(db) : "out of memory";
    sqlite3_close_v2(db);
    discardNew();
    return storeError(15, "Cannot open the store " + path.string() + ": " + message);
  }
  sqlite3_busy_timeout(db, static_cast<int>(openWait.count()));
  auto store = std::make_unique<SQLiteStore>(model, db);
  if (auto status = store->open(path.string()); !status) {
    store.reset();
    discardNew();
    return status.error();
  }
  sqlite3_busy_timeout(db, static_cast<int>(kStoreBusyTimeout.count()));
  return std::unique_ptr<Store>(std::move(store));
}

}  // namespace orbelin::graph::detail
