#include "raw_sqlite.h"

#include <cstdio>
#include <cstdlib>

namespace orbelin::bench {

namespace {

[[noreturn]] void fail(sqlite3* db, const std::string& what) {
  std::fprintf(stderr, "raw SQLite: %s: %s\n", what.c_str(), db ? sqlite3_errmsg(db) : "no db");
  std::abort();
}

}  // namespace

sqlite3* openRaw(const std::filesystem::path& file) {
  sqlite3* db = nullptr;
  if (sqlite3_open(file.c_str(), &db) != SQLITE_OK) fail(db, "open " + file.string());
  sqlite3_busy_timeout(db, 5000);
  exec(db, "PRAGMA journal_mode=WAL");
  exec(db, "PRAGMA synchronous=NORMAL");
  return db;
}

void exec(sqlite3* db, const std::string& sql) {
  if (sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) fail(db, sql);
}

std::string schemaOf(const std::filesystem::path& storeFile) {
  sqlite3* db = openRaw(storeFile);
  std::string schema;
  {
    Statement select(db,
                     "SELECT sql FROM sqlite_master WHERE sql IS NOT NULL AND name NOT LIKE "
                     "'sqlite_%' ORDER BY rowid");
    while (sqlite3_step(select.get()) == SQLITE_ROW) schema += columnText(select.get(), 0) + ";\n";
  }
  sqlite3_close(db);
  if (schema.empty()) fail(nullptr, "no schema in " + storeFile.string());
  return schema;
}

sqlite3* createRaw(const std::filesystem::path& file, const std::string& schema) {
  std::filesystem::remove(file);
  sqlite3* db = openRaw(file);
  exec(db, "BEGIN");
  exec(db, schema);
  exec(db, "COMMIT");
  return db;
}

Statement::Statement(sqlite3* db, const std::string& sql) {
  if (sqlite3_prepare_v3(db, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &stmt_, nullptr) !=
      SQLITE_OK)
    fail(db, "prepare " + sql);
}

Statement::~Statement() {
  sqlite3_finalize(stmt_);
}

void Statement::run() {
  if (sqlite3_step(stmt_) != SQLITE_DONE) fail(sqlite3_db_handle(stmt_), sqlite3_sql(stmt_));
  sqlite3_reset(stmt_);
}

void bindText(sqlite3_stmt* stmt, int column, const std::string& text) {
  sqlite3_bind_text(stmt, column, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
}

std::string columnText(sqlite3_stmt* stmt, int column) {
  auto* text = reinterpret_cast<const char*>(sqlite3_column_text(stmt, column));
  return text ? std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(stmt, column)))
              : std::string();
}

void batch(sqlite3* db, const std::string& sql, int count,
           const std::function<void(sqlite3_stmt*, int)>& bind) {
  Statement statement(db, sql);
  exec(db, "BEGIN");
  for (int i = 0; i < count; ++i) {
    bind(statement.get(), i);
    statement.run();
  }
  exec(db, "COMMIT");
}

}  // namespace orbelin::bench
