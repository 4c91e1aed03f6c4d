#include "graph/sqlite_values.h"

#include <algorithm>
#include <array>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <cmath>

#include "orbelin/text/json_reader.h"

namespace orbelin::graph::detail {

namespace {

// A REAL column keeps a whole number as an integer, which has no sign: -0.0
// would come back as 0.0. So a negative zero, and only it, is written as
// these eight bytes (its IEEE 754 form, most significant first); every other
// double stays an ordinary REAL.
constexpr std::array<std::uint8_t, 8> kNegativeZero{0x80, 0, 0, 0, 0, 0, 0, 0};

bool isNegativeZero(double number) {
  return number == 0.0 && std::signbit(number);
}

// Deeper than any transformable a host stores; Boost's default of 32 lost some.
constexpr std::size_t kMaxTransformableDepth = 1024;

}  // namespace

const char* columnType(AttributeType type) {
  switch (type) {
    case AttributeType::String:
    case AttributeType::Transformable:
      return "TEXT";
    case AttributeType::Double:
    case AttributeType::Date:  // seconds since 1970, as the Date itself
      return "REAL";
    case AttributeType::Binary:
      return "BLOB";
    default:
      return "INTEGER";
  }
}

void bindValue(sqlite3_stmt* stmt, int position, const Value& value) {
  switch (value.kind()) {
    case Value::Kind::Nil:
      sqlite3_bind_null(stmt, position);
      return;
    case Value::Kind::String: {
      const std::string_view s = *value.string();
      sqlite3_bind_text64(stmt, position, s.data(), s.size(), SQLITE_STATIC, SQLITE_UTF8);
      return;
    }
    case Value::Kind::Integer:
      sqlite3_bind_int64(stmt, position, *value.integer());
      return;
    case Value::Kind::Double:
      if (isNegativeZero(value.doubleValue())) {
        sqlite3_bind_blob(stmt, position, kNegativeZero.data(), kNegativeZero.size(),
                          SQLITE_STATIC);
      } else {
        sqlite3_bind_double(stmt, position, value.doubleValue());
      }
      return;
    case Value::Kind::Boolean:
      sqlite3_bind_int(stmt, position, value.boolValue() ? 1 : 0);
      return;
    case Value::Kind::Date:
      sqlite3_bind_double(stmt, position, secondsSince1970(*value.date()));
      return;
    case Value::Kind::Binary: {
      // An empty vector's data() may be null, which SQLite stores as NULL:
      // an empty value must come back empty, not absent.
      static const std::uint8_t kNothing = 0;
      const Bytes& b = *value.binary();
      sqlite3_bind_blob64(stmt, position, b.empty() ? &kNothing : b.data(), b.size(),
                          SQLITE_STATIC);
      return;
    }
    case Value::Kind::Transformable: {
      std::string text = boost::json::serialize(*value.transformable());
      sqlite3_bind_text64(stmt, position, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
      return;
    }
  }
}

// Through the column's value rather than the column functions: each
// sqlite3_column_* call does the connection's entry and exit bookkeeping,
// which costs more than the read itself on a fetch of many rows. The value
// is read at once, on the thread that holds the store, as SQLite requires.
Value readColumn(sqlite3_stmt* stmt, int column, AttributeType type) {
  sqlite3_value* stored = sqlite3_column_value(stmt, column);
  const int storage = sqlite3_value_type(stored);
  if (storage == SQLITE_NULL) return {};
  switch (type) {
    case AttributeType::String: {
      auto* text = reinterpret_cast<const char*>(sqlite3_value_text(stored));
      return std::string_view(text, static_cast<std::size_t>(sqlite3_value_bytes(stored)));
    }
    case AttributeType::Integer16:
    case AttributeType::Integer32:
    case AttributeType::Integer64:
      return static_cast<std::int64_t>(sqlite3_value_int64(stored));
    case AttributeType::Double:
      if (storage == SQLITE_BLOB &&
          sqlite3_value_bytes(stored) == static_cast<int>(kNegativeZero.size()) &&
          std::equal(kNegativeZero.begin(), kNegativeZero.end(),
                     static_cast<const std::uint8_t*>(sqlite3_value_blob(stored))))
        return -0.0;
      return sqlite3_value_double(stored);
    case AttributeType::Boolean:
      return sqlite3_value_int64(stored) != 0;
    case AttributeType::Date:
      return dateFromSeconds(sqlite3_value_double(stored));
    case AttributeType::Binary: {
      auto* data = static_cast<const std::uint8_t*>(sqlite3_value_blob(stored));
      return Bytes(data, data + sqlite3_value_bytes(stored));
    }
    case AttributeType::Transformable: {
      auto* text = reinterpret_cast<const char*>(sqlite3_value_text(stored));
      std::string_view json(text, static_cast<std::size_t>(sqlite3_value_bytes(stored)));
      // Read numbers correctly rounded, so a saved value loads back bit for bit.
      if (auto read = orbelin::text::readJsonValue(json, kMaxTransformableDepth))
        return Value(std::move(*read));
      // Only an infinity, which serialize writes as 1e99999, is left to Boost.
      boost::json::error_code ec;
      auto parsed = boost::json::parse(json, ec);
      return ec ? Value() : Value(std::move(parsed));
    }
  }
  return {};
}

}  // namespace orbelin::graph::detail
