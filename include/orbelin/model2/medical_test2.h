#pragma once

#include "orbelin/model2/entity_support.h"

// The properties of MedicalTest2 (rows as in entity_support.h).
#define ORBELIN_MODEL2_PROPERTIES_MedicalTest2(ATTRIBUTE, TO_ONE, TO_MANY) \
  ATTRIBUTE(testId, std::string, Required)                                 \
  ATTRIBUTE(shortDesc, std::string, Required)                              \
  ATTRIBUTE(dateTime, Date, Required)                                      \
  ATTRIBUTE(longDesc, std::string, Optional)                               \
  ATTRIBUTE(normalMax, double, Optional)                                   \
  ATTRIBUTE(normalMin, double, Optional)                                   \
  ATTRIBUTE(technicianId, std::string, Optional)                           \
  TO_ONE(recoveryPath, RecoveryPath, medicalTests, Optional)               \
  TO_MANY(results, TestResult, test, Unordered)

namespace orbelin::model2 {

// A medical test on a recovery path, with its normal range and its results.
//
// Entity "MedicalTest". Its service identifier is `testId`.
// Its dictionary form leaves out recoveryPath.
class MedicalTest2 : public NSManagedObjectEx {
 public:
  ORBELIN_MODEL2_ENTITY(ORBELIN_MODEL2_PROPERTIES_MedicalTest2)
  ORBELIN_MODEL2_IDENTIFIED_ENTITY()
  ORBELIN_MODEL2_IGNORES_RELATIONS()
};

}  // namespace orbelin::model2
