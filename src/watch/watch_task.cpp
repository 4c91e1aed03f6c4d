#include "orbelin/watch/watch_task.h"

#include "orbelin/records/patient.h"
#include "orbelin/records/task.h"
#include "orbelin/watch/watch_archive.h"
#include "watch/watch_decoding.h"

namespace orbelin {
namespace {

// The nested patient: absent unless the key holds a readable WatchPatient
// (an array, a dictionary, a text or a number under "patient" is a value of
// the wrong type). A class that neither we nor the platform know, or a
// broken archive, fails the whole task, as it fails the platform's reader.
Result<std::optional<WatchPatient>> decodePatient(const archiving::KeyedDecoder& coder) {
  auto value = coder.decodeObjectForKey("patient");
  if (!value) return value.error();
  const archiving::KeyedDecoder* nested = value->asObject();
  if (nested == nullptr) return std::optional<WatchPatient>();
  auto kind = watchClassNamed(nested->className());
  if (!kind)
    return Error(
        error_domain::kPlatform, kWatchUnknownClassCode,
        "The archive holds an object of the unknown class \"" + nested->className() + "\".");
  if (*kind != WatchClass::patient) return std::optional<WatchPatient>();
  auto patient = WatchPatient::fromCoder(*nested);
  if (patient) return std::optional<WatchPatient>(std::move(*patient));
  if (patient.error().code() == kWatchMissingKeyCode) return std::optional<WatchPatient>();
  return patient.error();
}

}  // namespace

WatchTask::WatchTask(const Task& task)
    : id(task.id().value_or(0)),
      text(task.text()),
      createdDate(task.createdDate()),
      dueDate(dateFromSeconds(0)),
      delayed(false),
      status(task.status().value_or(0)),
      type(0) {
  if (const Patient* taskPatient = task.patient()) patient.emplace(*taskPatient);
  dueDate = task.dueDate().value_or(dateFromSeconds(0));
  statusDescription = task.statusDescription();
  type = task.type().value_or(0);
}

Result<WatchTask> WatchTask::fromCoder(const archiving::KeyedDecoder& coder) {
  using namespace watch_decoding;
  auto taskId = requiredNumber(coder, "id");
  if (!taskId) return taskId.error();
  auto taskPatient = decodePatient(coder);
  if (!taskPatient) return taskPatient.error();
  auto taskText = optionalText(coder, "text");
  if (!taskText) return taskText.error();
  auto created = optionalDate(coder, "createdDate");
  if (!created) return created.error();
  auto isDelayed = requiredBool(coder, "delayed");
  if (!isDelayed) return isDelayed.error();
  auto taskStatus = requiredNumber(coder, "status");
  if (!taskStatus) return taskStatus.error();
  auto description = optionalText(coder, "statusDescription");
  if (!description) return description.error();
  auto due = requiredDate(coder, "dueDate");
  if (!due) return due.error();
  auto taskType = requiredNumber(coder, "type");
  if (!taskType) return taskType.error();
  WatchTask task(*taskId, *due, *taskStatus, *taskType);
  task.patient = std::move(*taskPatient);
  task.text = std::move(*taskText);
  task.createdDate = *created;
  task.delayed = *isDelayed;
  task.statusDescription = std::move(*description);
  return task;
}

void WatchTask::encodeWithCoder(archiving::KeyedEncoder& coder) const {
  coder.encodeNumber(id, "id");
  coder.encodeObject(patient ? &*patient : nullptr, "patient");
  coder.encodeText(text, "text");
  coder.encodeDate(createdDate, "createdDate");
  coder.encodeBool(delayed, "delayed");
  coder.encodeNumber(status, "status");
  coder.encodeText(statusDescription, "statusDescription");
  coder.encodeDate(dueDate, "dueDate");
  coder.encodeNumber(type, "type");
}

}  // namespace orbelin
