#pragma once

// Internal: values in SQLite columns, both ways. Every attribute type reads
// back as it was written, -0.0 and transformables' numbers bit for bit.

#include <sqlite3.h>

#include <cstdint>

#include "graph/store.h"

namespace orbelin::graph::detail {

// The column type of an attribute type in a table definition.
const char* columnType(AttributeType type);

void bindValue(sqlite3_stmt* stmt, int position, const Value& value);
Value readColumn(sqlite3_stmt* stmt, int column, AttributeType type);
// sqlite3_column_int64 without entering the connection again (see readColumn).
inline std::int64_t readInteger(sqlite3_stmt* stmt, int column) {
  return sqlite3_value_int64(sqlite3_column_value(stmt, column));
}

// A row of selectAll or selectOne: Z_PK, the attributes, Z_OPT.
class StatementReader : public RowReader {
 public:
  StatementReader(sqlite3_stmt* stmt, const EntityDescription& entity)
      : stmt_(stmt), entity_(entity) {}
  Value value(std::size_t index) const override {
    const auto& attributes = entity_.attributes();
    if (index >= attributes.size()) return {};
    return readColumn(stmt_, static_cast<int>(index) + 1, attributes[index].type);
  }
  std::int64_t version() const override {
    return readInteger(stmt_, static_cast<int>(entity_.attributes().size()) + 1);
  }

 private:
  sqlite3_stmt* stmt_;
  const EntityDescription& entity_;
};

}  // namespace orbelin::graph::detail
