#pragma once

#include "orbelin/model2/entity_support.h"

// The properties of Alert2 (rows as in entity_support.h).
#define ORBELIN_MODEL2_PROPERTIES_Alert2(ATTRIBUTE, TO_ONE, TO_MANY) \
  ATTRIBUTE(alertId, std::string, Required)                          \
  ATTRIBUTE(shortDesc, std::string, Required)                        \
  ATTRIBUTE(category, AlertCategoryEnum, Required)                   \
  ATTRIBUTE(severity, AlertSeverityEnum, Required)                   \
  ATTRIBUTE(created, Date, Required)                                 \
  ATTRIBUTE(lastModified, Date, Required)                            \
  ATTRIBUTE(longDesc, std::string, Optional)                         \
  TO_ONE(patient, Patient, alerts, Optional)

namespace orbelin::model2 {

// An alert raised about a patient (an abnormal test result, a decline in mood).
//
// Entity "Alert". Its service identifier is `alertId`.
// Its dictionary form leaves out patient.
class Alert2 : public NSManagedObjectEx {
 public:
  ORBELIN_MODEL2_ENTITY(ORBELIN_MODEL2_PROPERTIES_Alert2)
  ORBELIN_MODEL2_IDENTIFIED_ENTITY()
  ORBELIN_MODEL2_IGNORES_RELATIONS()
};

}  // namespace orbelin::model2
