#pragma once

// Every measurement of orbelin_bench: one function per row of the table,
// each run in a process of its own (so that heap readings, the process-wide
// hospital store and the sample service of one row never meet another's).
// Each reports its figures with report() / reportTiming().

#include <string>
#include <vector>

#include "measure.h"

namespace orbelin::bench {

// Object graph (graph_rows.cpp).
void lookupByIdentifier(const Options& options);
void deleteAndMerge(const Options& options);
void firstSaves(const Options& options);
void saveMany(const Options& options);
void fetchAll(const Options& options);
void memoryPerObject(const Options& options);

// The recovery-path patient of about 4,400 objects (patient_rows.cpp).
void importPatient(const Options& options);
void reimportExport(const Options& options);
void exportPatient(const Options& options);

// The hospital store's download stores (store_rows.cpp).
void storedPatientLookup(const Options& options);
void downloadMemory(const Options& options);
void downloadPatientTime(const Options& options);
void careTeamDownload(const Options& options);

// First-generation records and the networking library (records_row.cpp,
// networking_rows.cpp).
void loginImport(const Options& options);
void localRequest(const Options& options);
void loopbackRequest(const Options& options);

struct Row {
  std::string id;
  std::string title;
  void (*run)(const Options&);
};

// In the order the table lists them.
const std::vector<Row>& rows();

}  // namespace orbelin::bench
