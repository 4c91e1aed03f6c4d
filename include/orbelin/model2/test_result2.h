#pragma once

#include "orbelin/model2/entity_support.h"

// The properties of TestResult2 (rows as in entity_support.h).
#define ORBELIN_MODEL2_PROPERTIES_TestResult2(ATTRIBUTE, TO_ONE, TO_MANY) \
  ATTRIBUTE(abnormal, bool, Required)                                     \
  ATTRIBUTE(analysis, std::string, Required)                              \
  ATTRIBUTE(timeStamp, Date, Required)                                    \
  TO_ONE(test, MedicalTest, results, Required)                            \
  TO_ONE(analyzedBy, StaffMember, analyzedResults, Optional)              \
  TO_ONE(imagery, MultiMedia, testResult, Optional)

namespace orbelin::model2 {

// One result of a medical test, with who analyzed it and its imagery.
//
// Entity "TestResult". It has no service identifier.
// Its dictionary form leaves out test.
class TestResult2 : public NSManagedObjectEx {
 public:
  ORBELIN_MODEL2_ENTITY(ORBELIN_MODEL2_PROPERTIES_TestResult2)
  ORBELIN_MODEL2_IGNORES_RELATIONS()
};

}  // namespace orbelin::model2
