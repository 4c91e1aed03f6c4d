#pragma once

#include "orbelin/model2/entity_support.h"

// The properties of InformationBooklet2 (rows as in entity_support.h).
#define ORBELIN_MODEL2_PROPERTIES_InformationBooklet2(ATTRIBUTE, TO_ONE, TO_MANY) \
  ATTRIBUTE(bookletId, std::string, Required)                                     \
  ATTRIBUTE(title, std::string, Required)                                         \
  ATTRIBUTE(shortDesc, std::string, Optional)                                     \
  ATTRIBUTE(longDesc, std::string, Optional)                                      \
  ATTRIBUTE(provider, std::string, Optional)                                      \
  ATTRIBUTE(created, Date, Optional)                                              \
  ATTRIBUTE(lastModified, Date, Optional)                                         \
  TO_MANY(recoveryPaths, RecoveryPath, informationBooklets, Unordered)            \
  TO_MANY(sections, BookletSection, informationBooklet, Ordered)

namespace orbelin::model2 {

// An information booklet given to patients on recovery paths, with its
// sections in order.
//
// Entity "InformationBooklet". Its service identifier is `bookletId`.
// Its dictionary form leaves out recoveryPaths.
class InformationBooklet2 : public NSManagedObjectEx {
 public:
  ORBELIN_MODEL2_ENTITY(ORBELIN_MODEL2_PROPERTIES_InformationBooklet2)
  ORBELIN_MODEL2_IDENTIFIED_ENTITY()
  ORBELIN_MODEL2_IGNORES_RELATIONS()
};

}  // namespace orbelin::model2
