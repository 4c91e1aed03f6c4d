#include "orbelin/watch/watch_patient.h"

#include "orbelin/records/patient.h"
#include "watch/watch_decoding.h"

namespace orbelin {

WatchPatient::WatchPatient(const Patient& taskPatient)
    : id(taskPatient.id().value_or(0)),
      firstname(taskPatient.firstName()),
      lastname(taskPatient.lastName()),
      roomNumber(taskPatient.roomNumber()) {}

Result<WatchPatient> WatchPatient::fromCoder(const archiving::KeyedDecoder& coder) {
  using namespace watch_decoding;
  auto patientId = requiredNumber(coder, "id");
  if (!patientId) return patientId.error();
  WatchPatient patient(*patientId);
  auto first = optionalText(coder, "firstname");
  if (!first) return first.error();
  auto last = optionalText(coder, "lastname");
  if (!last) return last.error();
  auto room = optionalText(coder, "roomNumber");
  if (!room) return room.error();
  patient.firstname = *first;
  patient.lastname = *last;
  patient.roomNumber = *room;
  return patient;
}

void WatchPatient::encodeWithCoder(archiving::KeyedEncoder& coder) const {
  coder.encodeNumber(id, "id");
  coder.encodeText(firstname, "firstname");
  coder.encodeText(lastname, "lastname");
  coder.encodeText(roomNumber, "roomNumber");
}

}  // namespace orbelin
