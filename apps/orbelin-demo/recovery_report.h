#pragma once

#include <iosfwd>
#include <string>

#include "orbelin/graph/managed_object.h"

// The recovery-path report: what a discharge coordinator reads about one
// patient, written from objects of hospitalStore()'s main context.
namespace orbelin::demo {

// Writes the report of `patient` (a main-context object): the patient, the
// stay, appointments in their stored order, instructions, medical tests,
// vitals, the clinical lists, the care team and booklets (as full records
// when the store holds them), and the counts of objects in the store.
// REQUIRES: the main thread.
void writeRecoveryReport(std::ostream& out, graph::ManagedObject& patient);

// "yyyy-MM-dd HH:mm" in the device's time zone; "-" when the value is no date.
std::string dateText(const graph::Value& value);

}  // namespace orbelin::demo
