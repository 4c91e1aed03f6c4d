#pragma once

#include "orbelin/model2/entity_support.h"

// The properties of BookletSection2 (rows as in entity_support.h).
#define ORBELIN_MODEL2_PROPERTIES_BookletSection2(ATTRIBUTE, TO_ONE, TO_MANY) \
  ATTRIBUTE(category, BookletSectionCategoryEnum, Required)                   \
  ATTRIBUTE(title, std::string, Required)                                     \
  ATTRIBUTE(body, std::string, Required)                                      \
  TO_ONE(informationBooklet, InformationBooklet, sections, Required)          \
  TO_MANY(multiMedias, MultiMedia, bookletSection, Ordered)

namespace orbelin::model2 {

// One section of an information booklet, with its media in order.
//
// Entity "BookletSection". It has no service identifier.
// Its dictionary form leaves out informationBooklet.
class BookletSection2 : public NSManagedObjectEx {
 public:
  ORBELIN_MODEL2_ENTITY(ORBELIN_MODEL2_PROPERTIES_BookletSection2)
  ORBELIN_MODEL2_IGNORES_RELATIONS()
};

}  // namespace orbelin::model2
