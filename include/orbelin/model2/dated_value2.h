#pragma once

#include "orbelin/model2/entity_support.h"

// The properties of DatedValue2 (rows as in entity_support.h).
#define ORBELIN_MODEL2_PROPERTIES_DatedValue2(ATTRIBUTE, TO_ONE, TO_MANY) \
  ATTRIBUTE(date, Date, Required)                                         \
  ATTRIBUTE(value, std::string, Required)                                 \
  TO_ONE(patient_allergy, Patient, allergies, NotSet)                     \
  TO_ONE(patient_barrier, Patient, barriers, NotSet)                      \
  TO_ONE(patient_diagnosis, Patient, diagnoses, NotSet)                   \
  TO_ONE(patient_roundingNote, Patient, roundingNotes, NotSet)            \
  TO_ONE(patient_symptom, Patient, symptoms, NotSet)                      \
  TO_ONE(patient_immunization, Patient, immunizations, NotSet)            \
  TO_ONE(patient_diet, Patient, diets, NotSet)

namespace orbelin::model2 {

// One dated entry (a date and a text) of one of a patient's clinical lists. It is
// linked to its patient through the one of its seven patient_ relations that is
// the inverse of the list it is in; setProperties sets none of the seven.
//
// Entity "DatedValue". It has no service identifier.
// Its dictionary form leaves out patient_allergy, patient_barrier, patient_diagnosis,
// patient_roundingNote, patient_symptom, patient_immunization, patient_diet.
class DatedValue2 : public NSManagedObjectEx {
 public:
  ORBELIN_MODEL2_ENTITY(ORBELIN_MODEL2_PROPERTIES_DatedValue2)
  ORBELIN_MODEL2_IGNORES_RELATIONS()
  using graph::ManagedObject::value;  // key-value access stays available beside value()
};

}  // namespace orbelin::model2
