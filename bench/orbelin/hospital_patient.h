#pragma once

// A recovery-path patient of realistic size for the import and export rows,
// in the dictionary form the hospital service sends, and the two ways of
// bringing such text into a store: the library's import, and a hand-written
// walk of the parsed tree into the store's own tables.

#include <sqlite3.h>

#include <memory>
#include <string>
#include <string_view>

#include "orbelin/graph/model.h"
#include "orbelin/model2/patient2.h"
#include "orbelin/stores2/object_store.h"

namespace orbelin::bench {

struct PatientText {
  std::string text;
  int objects = 0;
};

// About 4,400 objects: 5 lists of 100 dated values, 250 vitals with their
// notes, a recovery path with 300 appointments, 500 instructions of 3 actions,
// 100 medical tests of 5 results, a care team of 50 and 50 booklets of 8
// sections. Staff members, tests and booklets carry service identifiers.
PatientText hospitalPatient();

// The library's import: a new Patient in the store's background context
// filled with setPropertiesFromJSONString, then saved. Seconds; the patient
// through `imported` when given.
double importPatientText(ObjectStore& store, const std::string& text,
                         model2::Patient2** imported = nullptr);

// The hand-written baseline: Boost.JSON parse, a walk of the tree, and
// prepared INSERTs into the tables the library created (entity tables with
// their foreign-key and order columns, join tables), every row of a record
// and its nested records in one transaction. Keys are counted per table
// from what the file holds.
class SchemaWalk {
 public:
  SchemaWalk(sqlite3* db, const graph::ManagedObjectModel& model);
  ~SchemaWalk();
  SchemaWalk(const SchemaWalk&) = delete;
  SchemaWalk& operator=(const SchemaWalk&) = delete;

  // Rows written (entity rows and join rows).
  std::size_t insert(std::string_view text);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// Compares the row count of every table of two files with the same schema;
// describes the tables that differ ("" when none do).
std::string rowCountDifferences(const std::filesystem::path& a, const std::filesystem::path& b);

}  // namespace orbelin::bench
