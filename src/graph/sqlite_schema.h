#pragma once

// Internal: the SQLite store's schema. One table per entity ("Z" + entity
// name) with the primary key Z_PK, one column per attribute, one
// foreign-key column per to-one relationship and an order column (Z_ORD_ +
// relationship) on the member side of an ordered one-to-many. A to-many
// whose inverse is not to-one (many-to-many, or no inverse) keeps a join
// table Z_<entity>_<relationship> (Z_OWNER, Z_TARGET, Z_ORD). Every entity
// row carries a version, Z_OPT, that each save writing the row raises.
// Z_METADATA holds the model's version identifier; Z_PRIMARYKEY the highest
// key reserved per entity (Z_NAME, Z_MAX), which every connection to the
// file draws its key blocks from. Statements are prepared once with bound
// parameters (an update, once per set of changed columns).

#include <sqlite3.h>

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "orbelin/graph/model.h"

namespace orbelin::graph::detail {

// Files whose dates were 64-bit nanosecond counts kept the version under
// "modelVersion"; they read as another version and are set aside.
inline constexpr const char* kVersionKey = "modelVersion.realDates";

inline constexpr const char* kVersionColumn = "Z_OPT INTEGER NOT NULL DEFAULT 1";

inline constexpr const char* kKeyTable =
    "CREATE TABLE IF NOT EXISTS Z_PRIMARYKEY (Z_NAME TEXT PRIMARY KEY, Z_MAX INTEGER NOT NULL)";

// An SQL identifier, quoted: names come from the model.
std::string quoted(const std::string& name);
std::string tableName(const EntityDescription& entity);
std::string joinTableName(const EntityDescription& entity, const RelationshipDescription& r);
std::string orderColumn(const RelationshipDescription& toOne);

// A to-many whose inverse is not to-one (many-to-many, or no inverse).
bool usesJoinTable(const RelationshipDescription& r);
// The member side of an ordered one-to-many, which keeps the order column.
bool ordersMembers(const RelationshipDescription& toOne);

// The metadata and key tables and every entity's table, index and join table.
std::string schemaText(const ManagedObjectModel& model);

// One prepared statement, finalized with its owner.
class Statement {
 public:
  Statement() = default;
  ~Statement() { sqlite3_finalize(stmt_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  bool prepare(sqlite3* db, const std::string& sql) {
    sql_ = sql;
    return sqlite3_prepare_v3(db, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &stmt_, nullptr) ==
           SQLITE_OK;
  }
  sqlite3_stmt* get() { return stmt_; }
  // Ready for new bindings; every caller binds every parameter.
  sqlite3_stmt* begin() {
    sqlite3_reset(stmt_);
    return stmt_;
  }

 private:
  sqlite3_stmt* stmt_ = nullptr;
  std::string sql_;
};

struct RelationSQL {
  Statement selectMembers;      // to-many: member keys of one owner, in order
  Statement deleteOwner;        // join table: rows of one owner
  Statement deleteTarget;       // join table: rows naming a deleted target
  Statement insertMember;       // join table: one row, unless it is there already
  Statement deleteMember;       // join table: one row
  Statement updateMemberOrder;  // join table: one row's Z_ORD
  Statement updateOrder;        // ordered one-to-many: the member's order column
};

struct EntitySQL {
  std::size_t columnCount = 0;  // attributes + to-one columns
  Statement insert;             // Z_PK, attributes, to-ones, Z_OPT
  // Z_OPT raised and the given columns (attributes first, then to-ones);
  // Z_PK last. Made on first use for each set of columns.
  std::map<std::vector<std::size_t>, std::unique_ptr<Statement>> updates;
  Statement selectAll;  // Z_PK, attributes, Z_OPT
  Statement selectOne;
  Statement selectCheck;  // Z_OPT, attributes, to-ones
  Statement selectToOnes;
  Statement deleteRow;
  Statement maxKey;
  Statement reservedKey;
  Statement reserveKeys;
  std::vector<std::size_t> toOnes;  // relationship indices with a column, in column order
  std::vector<RelationSQL> relations;
  std::vector<std::string> columnNames;  // quoted; attributes, then to-ones
  std::string rowColumns;                // Z_PK, attributes, Z_OPT: what a RowReader reads
};

// Prepares every statement of the entity on the connection.
bool prepareStatements(sqlite3* db, const EntityDescription& entity, EntitySQL& e);

}  // namespace orbelin::graph::detail
