#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "orbelin/archiving/boxed_number.h"
#include "orbelin/archiving/keyed_archiver.h"
#include "orbelin/archiving/keyed_unarchiver.h"
#include "orbelin/platform/date.h"
#include "orbelin/platform/result.h"
#include "orbelin/watch/watch_patient.h"

namespace orbelin {

class Task;

// A self-contained copy of a task for the companion watch. Equal to another
// WatchTask when the ids are equal as numbers (5 equals 5.0); status, texts
// and dates do not take part.
//
// Ownership and threads: a plain value. It owns its WatchPatient by value
// (copying a WatchTask copies the patient); it keeps no link to the record
// it came from. Use a given object from one thread at a time; make it on the
// thread that owns the record (see FirstGenerationRecord).
class WatchTask {
 public:
  static constexpr const char* className = "OrbelinData.WatchTask";

  // Copies, in this order: id, text, createdDate, delayed = false, status,
  // a new WatchPatient when the task has a patient, dueDate,
  // statusDescription, type. Numbers the record lacks become 0 and a missing
  // due date becomes the 1970 epoch; texts are present, possibly empty.
  explicit WatchTask(const Task& task);

  // Reads the keys written by encodeWithCoder. Fails when "id", "status" or
  // "type" is not a number, "dueDate" not a date or "delayed" not a truth
  // value (missing or null included), or when the archive itself is broken.
  // An optional key that is missing, null or of another type (a "patient"
  // that is not a readable WatchPatient included) stays absent.
  static Result<WatchTask> fromCoder(const archiving::KeyedDecoder& coder);
  // Writes "id", "patient", "text", "createdDate", "delayed", "status",
  // "statusDescription", "dueDate", "type"; absent values as null, the
  // patient as a nested object.
  void encodeWithCoder(archiving::KeyedEncoder& coder) const;

  bool operator==(const WatchTask& other) const { return id == other.id; }
  // The hash of id, so that equal objects hash alike.
  std::int64_t hashValue() const { return static_cast<std::int64_t>(id.hash()); }

  archiving::BoxedNumber id;
  std::optional<WatchPatient> patient;
  std::optional<std::string> text;
  std::optional<Date> createdDate;
  Date dueDate;
  bool delayed = false;
  // The task status code: 0 Normal, 1 Complete, 2 Forward, 3 Overdue.
  archiving::BoxedNumber status;
  std::optional<std::string> statusDescription;
  // The task type code: 0 Undefined, 1 Discharge, 2 PatientRequest.
  archiving::BoxedNumber type;

 private:
  WatchTask(archiving::BoxedNumber taskId, Date due, archiving::BoxedNumber taskStatus,
            archiving::BoxedNumber taskType)
      : id(taskId), dueDate(due), status(taskStatus), type(taskType) {}
};

}  // namespace orbelin

template <>
struct std::hash<orbelin::WatchTask> {
  std::size_t operator()(const orbelin::WatchTask& task) const { return task.id.hash(); }
};
