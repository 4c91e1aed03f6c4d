#pragma once

// Hand-written SQLite, the baselines' side: connections with the store's own
// journal settings, the store's own schema copied from a file the library
// wrote, and prepared statements.

#include <sqlite3.h>

#include <filesystem>
#include <functional>
#include <string>

namespace orbelin::bench {

// A connection with the settings the object store uses (write-ahead log,
// synchronous NORMAL). Aborts when the file cannot be opened: a baseline
// that silently measures nothing is worse than none.
sqlite3* openRaw(const std::filesystem::path& file);
void exec(sqlite3* db, const std::string& sql);

// Every CREATE statement of a file the library wrote (tables, indexes), in
// the order it created them, so a baseline file gets the same tables, join
// tables and indexes.
std::string schemaOf(const std::filesystem::path& storeFile);
// A new file with that schema, left open.
sqlite3* createRaw(const std::filesystem::path& file, const std::string& schema);

// A prepared statement, finalized with its owner.
class Statement {
 public:
  Statement(sqlite3* db, const std::string& sql);
  ~Statement();
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  Statement(Statement&& other) noexcept : stmt_(other.stmt_) { other.stmt_ = nullptr; }
  sqlite3_stmt* get() const { return stmt_; }
  // Steps once to SQLITE_DONE and resets; aborts on any other outcome.
  void run();

 private:
  sqlite3_stmt* stmt_ = nullptr;
};

void bindText(sqlite3_stmt* stmt, int column, const std::string& text);
std::string columnText(sqlite3_stmt* stmt, int column);

// Runs `sql` `count` times in one transaction, `bind` setting its parameters
// for run i.
void batch(sqlite3* db, const std::string& sql, int count,
           const std::function<void(sqlite3_stmt*, int)>& bind);

}  // namespace orbelin::bench
