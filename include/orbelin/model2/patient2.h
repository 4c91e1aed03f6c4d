#pragma once

#include "orbelin/model2/entity_support.h"

// The properties of Patient2 (rows as in entity_support.h).
#define ORBELIN_MODEL2_PROPERTIES_Patient2(ATTRIBUTE, TO_ONE, TO_MANY) \
  ATTRIBUTE(patientId, std::string, Required)                          \
  ATTRIBUTE(firstName, std::string, Required)                          \
  ATTRIBUTE(lastName, std::string, Required)                           \
  ATTRIBUTE(gender, GenderEnum, Required)                              \
  ATTRIBUTE(birthDate, Date, Required)                                 \
  ATTRIBUTE(acuity, PatientAcuityEnum, Optional)                       \
  ATTRIBUTE(ambulatoryStatus, PatientAmbulatoryStatus, Optional)       \
  ATTRIBUTE(physicianName, std::string, Optional)                      \
  ATTRIBUTE(status, PatientStatusEnum, Optional)                       \
  TO_MANY(alerts, Alert, patient, Unordered)                           \
  TO_MANY(allergies, DatedValue, patient_allergy, Unordered)           \
  TO_MANY(barriers, DatedValue, patient_barrier, Unordered)            \
  TO_ONE(bed, Bed, patient, Optional)                                  \
  TO_MANY(diagnoses, DatedValue, patient_diagnosis, Unordered)         \
  TO_MANY(diets, DatedValue, patient_diet, Unordered)                  \
  TO_MANY(immunizations, DatedValue, patient_immunization, Unordered)  \
  TO_MANY(pertainingMessages, Message, patient, Unordered)             \
  TO_MANY(pertainingTasks, Task, pertainingPatient, Unordered)         \
  TO_ONE(recoveryPath, RecoveryPath, patient, Optional)                \
  TO_ONE(room, Room, patients, Optional)                               \
  TO_ONE(roundedBy, StaffMember, roundingPatients, Optional)           \
  TO_MANY(roundingNotes, DatedValue, patient_roundingNote, Unordered)  \
  TO_MANY(symptoms, DatedValue, patient_symptom, Unordered)            \
  TO_MANY(vitals, Vital, pateint, Unordered)

namespace orbelin::model2 {

// A patient in a stay: identity, status, clinical lists, alerts, vitals, bed and
// room, and the recovery path.
//
// Entity "Patient". Its service identifier is `patientId`.
// Its dictionary form leaves out no relation.
class Patient2 : public NSManagedObjectEx {
 public:
  ORBELIN_MODEL2_ENTITY(ORBELIN_MODEL2_PROPERTIES_Patient2)
  ORBELIN_MODEL2_IDENTIFIED_ENTITY()
};

}  // namespace orbelin::model2
