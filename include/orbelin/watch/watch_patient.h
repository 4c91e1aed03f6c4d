#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "orbelin/archiving/boxed_number.h"
#include "orbelin/archiving/keyed_archiver.h"
#include "orbelin/archiving/keyed_unarchiver.h"
#include "orbelin/platform/result.h"

namespace orbelin {

class Patient;

// A self-contained copy of a patient for the companion watch: no link to the
// record it came from. Equal to another WatchPatient when the ids are equal
// as numbers (5 equals 5.0); nothing else takes part.
//
// Ownership and threads: a plain value that owns its texts; use a given
// object from one thread at a time. Make it on the thread that owns the
// record (see FirstGenerationRecord).
class WatchPatient {
 public:
  static constexpr const char* className = "OrbelinData.WatchPatient";

  // Copies id (0 when the record has none), firstName, lastName and
  // roomNumber; the three texts are present, possibly empty.
  explicit WatchPatient(const Patient& taskPatient);

  // Reads the keys written by encodeWithCoder. Fails when "id" is missing,
  // null or not a number, or when the archive itself is broken; an optional
  // text that is missing, null or not a text stays absent.
  static Result<WatchPatient> fromCoder(const archiving::KeyedDecoder& coder);
  // Writes "id", "firstname", "lastname", "roomNumber"; absent texts as null.
  void encodeWithCoder(archiving::KeyedEncoder& coder) const;

  bool operator==(const WatchPatient& other) const { return id == other.id; }
  // The hash of id, so that equal objects hash alike.
  std::int64_t hashValue() const { return static_cast<std::int64_t>(id.hash()); }

  archiving::BoxedNumber id;
  std::optional<std::string> firstname;
  std::optional<std::string> lastname;
  std::optional<std::string> roomNumber;

 private:
  explicit WatchPatient(archiving::BoxedNumber patientId) : id(patientId) {}
};

}  // namespace orbelin

template <>
struct std::hash<orbelin::WatchPatient> {
  std::size_t operator()(const orbelin::WatchPatient& patient) const { return patient.id.hash(); }
};
