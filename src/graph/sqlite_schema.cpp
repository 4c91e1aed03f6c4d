#include "graph/sqlite_schema.h"

#include "graph/sqlite_values.h"

namespace orbelin::graph::detail {

std::string quoted(const std::string& name) {
  std::string result = "\"";
  for (char c : name) result += (c == '"') ? std::string("\"\"") : std::string(1, c);
  return result + "\"";
}

std::string tableName(const EntityDescription& entity) {
  return quoted("Z" + entity.name());
}
std::string joinTableName(const EntityDescription& entity, const RelationshipDescription& r) {
  return quoted("Z_" + entity.name() + "_" + r.name);
}
std::string orderColumn(const RelationshipDescription& toOne) {
  return quoted("Z_ORD_" + toOne.name);
}

bool usesJoinTable(const RelationshipDescription& r) {
  return r.toMany && !(r.inverse && !r.inverse->toMany);
}
bool ordersMembers(const RelationshipDescription& toOne) {
  return !toOne.toMany && toOne.inverse && toOne.inverse->ordered;
}

std::string schemaText(const ManagedObjectModel& model) {
  std::string ddl = "CREATE TABLE Z_METADATA (Z_KEY TEXT PRIMARY KEY, Z_VALUE TEXT);";
  ddl += std::string(kKeyTable) + ";";
  for (const auto& entity : model.entities()) {
    std::string columns = "Z_PK INTEGER PRIMARY KEY, " + std::string(kVersionColumn);
    for (const auto& a : entity->attributes())
      columns += ", " + quoted(a.name) + " " + columnType(a.type);
    for (const auto& r : entity->relationships()) {
      if (r.toMany) continue;
      columns += ", " + quoted(r.name) + " INTEGER";
      if (ordersMembers(r)) columns += ", " + orderColumn(r) + " INTEGER";
    }
    ddl += "CREATE TABLE " + tableName(*entity) + " (" + columns + ");";
    for (const auto& r : entity->relationships()) {
      if (!r.toMany && r.inverse)
        ddl += "CREATE INDEX " + quoted("Z_" + entity->name() + "_" + r.name + "_INDEX") + " ON " +
               tableName(*entity) + " (" + quoted(r.name) + ");";
      if (usesJoinTable(r))
        ddl += "CREATE TABLE " + joinTableName(*entity, r) +
               " (Z_OWNER INTEGER, Z_TARGET INTEGER, Z_ORD INTEGER);CREATE INDEX " +
               quoted("Z_" + entity->name() + "_" + r.name + "_OWNER") + " ON " +
               joinTableName(*entity, r) + " (Z_OWNER);CREATE INDEX " +
               quoted("Z_" + entity->name() + "_" + r.name + "_TARGET") + " ON " +
               joinTableName(*entity, r) + " (Z_TARGET);";
    }
  }
  return ddl;
}

bool prepareStatements(sqlite3* db_, const EntityDescription& entity, EntitySQL& e) {
  const std::string table = tableName(entity);
  std::string attributeList, toOneList;
  for (const auto& a : entity.attributes()) {
    attributeList += ", " + quoted(a.name);
    e.columnNames.push_back(quoted(a.name));
  }
  for (const auto& r : entity.relationships()) {
    if (r.toMany) continue;
    e.toOnes.push_back(r.index);
    toOneList += std::string(toOneList.empty() ? "" : ", ") + quoted(r.name);
    e.columnNames.push_back(quoted(r.name));
  }
  e.columnCount = entity.attributes().size() + e.toOnes.size();
  std::string insertColumns =
      "Z_PK" + attributeList + (toOneList.empty() ? "" : ", " + toOneList) + ", Z_OPT";
  std::string placeholders = "?";
  for (std::size_t i = 0; i < e.columnCount; ++i) placeholders += ", ?";
  const std::string rowColumns = "Z_PK" + attributeList + ", Z_OPT";
  e.rowColumns = rowColumns;
  bool ok =
      e.insert.prepare(db_, "INSERT INTO " + table + " (" + insertColumns + ") VALUES (" +
                                placeholders + ", 1)") &&
      e.selectAll.prepare(db_, "SELECT " + rowColumns + " FROM " + table + " ORDER BY Z_PK") &&
      e.selectOne.prepare(db_, "SELECT " + rowColumns + " FROM " + table + " WHERE Z_PK = ?") &&
      e.selectCheck.prepare(db_, "SELECT Z_OPT" + attributeList +
                                     (toOneList.empty() ? "" : ", " + toOneList) + " FROM " +
                                     table + " WHERE Z_PK = ?") &&
      e.deleteRow.prepare(db_, "DELETE FROM " + table + " WHERE Z_PK = ?") &&
      e.maxKey.prepare(db_, "SELECT MAX(Z_PK) FROM " + table) &&
      e.reservedKey.prepare(db_, "SELECT Z_MAX FROM Z_PRIMARYKEY WHERE Z_NAME = ?") &&
      e.reserveKeys.prepare(db_,
                            "INSERT OR REPLACE INTO Z_PRIMARYKEY (Z_NAME, Z_MAX) VALUES (?, ?)");
  if (ok && !toOneList.empty())
    ok = e.selectToOnes.prepare(db_, "SELECT " + toOneList + " FROM " + table + " WHERE Z_PK = ?");
  e.relations = std::vector<RelationSQL>(entity.relationships().size());
  for (const auto& r : entity.relationships()) {
    if (!ok) break;
    RelationSQL& rs = e.relations[r.index];
    if (usesJoinTable(r)) {
      std::string jt = joinTableName(entity, r);
      // Another connection may have added the same member meanwhile: a
      // member is one row whoever adds it.
      ok = rs.selectMembers.prepare(
               db_, "SELECT Z_TARGET FROM " + jt + " WHERE Z_OWNER = ? ORDER BY Z_ORD") &&
           rs.deleteOwner.prepare(db_, "DELETE FROM " + jt + " WHERE Z_OWNER = ?") &&
           rs.deleteTarget.prepare(db_, "DELETE FROM " + jt + " WHERE Z_TARGET = ?") &&
           rs.insertMember.prepare(db_, "INSERT INTO " + jt +
                                            " (Z_OWNER, Z_TARGET, Z_ORD) SELECT ?1, ?2, ?3 " +
                                            "WHERE NOT EXISTS (SELECT 1 FROM " + jt +
                                            " WHERE Z_OWNER = ?1 AND Z_TARGET = ?2)") &&
           rs.deleteMember.prepare(db_,
                                   "DELETE FROM " + jt + " WHERE Z_OWNER = ? AND Z_TARGET = ?") &&
           rs.updateMemberOrder.prepare(
               db_, "UPDATE " + jt + " SET Z_ORD = ? WHERE Z_OWNER = ? AND Z_TARGET = ?");
    } else if (r.toMany) {
      std::string dest = tableName(*r.destination);
      std::string order = r.ordered ? orderColumn(*r.inverse) + ", Z_PK" : "Z_PK";
      ok = rs.selectMembers.prepare(db_, "SELECT Z_PK FROM " + dest + " WHERE " +
                                             quoted(r.inverse->name) + " = ? ORDER BY " + order);
      if (ok && r.ordered)
        ok = rs.updateOrder.prepare(
            db_, "UPDATE " + dest + " SET " + orderColumn(*r.inverse) + " = ? WHERE Z_PK = ?");
    }
  }
  return ok;
}

}  // namespace orbelin::graph::detail
