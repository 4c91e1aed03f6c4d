#pragma once

#include "orbelin/model2/entity_support.h"

// The properties of RecoveryPath2 (rows as in entity_support.h).
#define ORBELIN_MODEL2_PROPERTIES_RecoveryPath2(ATTRIBUTE, TO_ONE, TO_MANY)  \
  TO_ONE(patient, Patient, recoveryPath, Required)                           \
  ATTRIBUTE(admissionDate, Date, Optional)                                   \
  ATTRIBUTE(dischargeDate, Date, Optional)                                   \
  ATTRIBUTE(dischargeDisposition, DischargeDispositionEnum, Optional)        \
  ATTRIBUTE(dischargeApprovalState, DischargeApprovalStateEnum, Optional)    \
  TO_MANY(appoitments, Appoitment, recoveryPath, Ordered)                    \
  TO_MANY(careTeam, StaffMember, careMemberIn, Unordered)                    \
  TO_MANY(informationBooklets, InformationBooklet, recoveryPaths, Unordered) \
  TO_MANY(instructions, Instruction, recoveryPath, Unordered)                \
  TO_MANY(medicalTests, MedicalTest, recoveryPath, Unordered)                \
  TO_MANY(medications, Medication, recoveryPath, Unordered)

namespace orbelin::model2 {

// One patient's stay from admission to discharge: appointments in order, care
// team, booklets, instructions, medical tests and medications.
//
// Entity "RecoveryPath". It has no service identifier.
// Its dictionary form leaves out patient.
class RecoveryPath2 : public NSManagedObjectEx {
 public:
  ORBELIN_MODEL2_ENTITY(ORBELIN_MODEL2_PROPERTIES_RecoveryPath2)
  ORBELIN_MODEL2_IGNORES_RELATIONS()
};

}  // namespace orbelin::model2
