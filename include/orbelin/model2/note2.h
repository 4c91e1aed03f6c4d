#pragma once

#include "orbelin/model2/entity_support.h"

// The properties of Note2 (rows as in entity_support.h).
#define ORBELIN_MODEL2_PROPERTIES_Note2(ATTRIBUTE, TO_ONE, TO_MANY) \
  ATTRIBUTE(created, Date, Required)                                \
  ATTRIBUTE(lastModified, Date, Required)                           \
  ATTRIBUTE(dictionary, Dictionary, Optional)                       \
  ATTRIBUTE(number, double, Optional)                               \
  ATTRIBUTE(text, std::string, Optional)                            \
  TO_ONE(multiMedia, MultiMedia, note, Optional)                    \
  TO_ONE(vital, Vital, measurement, Optional)

namespace orbelin::model2 {

// A free note or a measured value: text, a number, a dictionary of values, or
// a media item.
//
// Entity "Note". It has no service identifier.
// Its dictionary form leaves out multiMedia, vital.
class Note2 : public NSManagedObjectEx {
 public:
  ORBELIN_MODEL2_ENTITY(ORBELIN_MODEL2_PROPERTIES_Note2)
  ORBELIN_MODEL2_IGNORES_RELATIONS()
};

}  // namespace orbelin::model2
