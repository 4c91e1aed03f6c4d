#pragma once

#include "orbelin/model2/entity_support.h"

// The properties of MultiMedia2 (rows as in entity_support.h).
#define ORBELIN_MODEL2_PROPERTIES_MultiMedia2(ATTRIBUTE, TO_ONE, TO_MANY) \
  ATTRIBUTE(mimeType, std::string, Required)                              \
  ATTRIBUTE(binaryData, graph::Bytes, Optional)                           \
  ATTRIBUTE(thumbnailURL, std::string, Optional)                          \
  ATTRIBUTE(url, std::string, Optional)                                   \
  TO_ONE(bookletSection, BookletSection, multiMedias, Optional)           \
  TO_ONE(note, Note, multiMedia, Optional)                                \
  TO_ONE(testResult, TestResult, imagery, Optional)

namespace orbelin::model2 {

// A media item, held inline as bytes or by address.
//
// Entity "MultiMedia". It has no service identifier.
// Its dictionary form leaves out bookletSection, note, testResult.
class MultiMedia2 : public NSManagedObjectEx {
 public:
  ORBELIN_MODEL2_ENTITY(ORBELIN_MODEL2_PROPERTIES_MultiMedia2)
  ORBELIN_MODEL2_IGNORES_RELATIONS()
};

}  // namespace orbelin::model2
