#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/model2/entity_support.h"

namespace orbelin::model2 {

// One section of an information booklet, with its media in order.
//
// Entity "BookletSection". It has no service identifier.
// Its dictionary form leaves out informationBooklet.
//
// Ownership and threads: as for every NSManagedObjectEx, the context owns
// the object, which is used on that context's thread or queue.
class BookletSection2 : public NSManagedObjectEx {
 public:
  // The arguments of setProperties, in their order (see entity_support.h).
  struct Properties {
    Required<BookletSectionCategoryEnum> category;
    Required<std::string> title;
    Required<std::string> body;
    Required<InformationBooklet2*> informationBooklet;
    std::optional<std::vector<MultiMedia2*>> multiMedias = std::nullopt;
  };

  std::string className() const override;  // "BookletSection"
  bool ignoreRelation(std::string_view name) const override;
  // The relations left out of the dictionary form, in order; the same for
  // every instance.
  std::span<const std::string_view> ignoreRelations() const;

  // Writes every required property and every optional one that is present;
  // absent ones keep their values. A present list replaces the relationship's
  // whole content (an empty list empties it). Nothing is saved.
  void setProperties(const Properties& properties);

  // Typed reads: absent (or null, or empty) when unset.
  // The raw value of a BookletSectionCategoryEnum case.
  std::optional<std::string> category() const;
  std::optional<std::string> title() const;
  std::optional<std::string> body() const;
  InformationBooklet2* informationBooklet() const;
  std::vector<MultiMedia2*> multiMedias() const;
};

}  // namespace orbelin::model2
