#pragma once

// The graph rows' data: five-attribute readings, found by name the way the
// hospital's records are found by their service identifier, as objects of
// the object store and as rows of its own table read by hand.

#include <sqlite3.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "orbelin/graph/graph.h"

namespace orbelin::bench {

// Adds the readings' model to the framework's bundle, so that an
// ObjectStore opened afterwards has the entity "Reading". Once per process.
void registerReadings();

std::string readingName(int i);

// The five attribute positions, looked up once as a host's record class does.
struct ReadingIndex {
  explicit ReadingIndex(const graph::EntityDescription& entity);
  std::size_t name, count, score, flag, taken;
};

// Reading i: name readingName(i), count i, score i / 2, flag for odd i, a
// date i seconds after a fixed day.
void fillReading(graph::ManagedObject* object, const ReadingIndex& index, int i);

// The same data as a host keeps it without the library.
struct ReadingRow {
  std::int64_t pk = 0;
  std::string name;
  std::int64_t count = 0;
  double score = 0;
  bool flag = false;
  double taken = 0;
};

// The store's table and the columns the baselines read and write.
inline constexpr const char* kReadingSelect =
    "SELECT Z_PK, \"name\", \"count\", \"score\", \"flag\", \"taken\" FROM \"ZReading\"";
inline constexpr const char* kReadingInsert =
    "INSERT INTO \"ZReading\" (Z_PK, Z_OPT, \"name\", \"count\", \"score\", \"flag\", \"taken\") "
    "VALUES (?, 1, ?, ?, ?, ?, ?)";
ReadingRow readReading(sqlite3_stmt* select);
// Binds reading i (primary key i + 1) to kReadingInsert.
void bindReading(sqlite3_stmt* insert, int i);

// A store file in `folder` holding readings 0 ... count-1, written by the
// library (background context, one save).
void writeReadingStore(const std::filesystem::path& folder, int count);

}  // namespace orbelin::bench
