#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/model2/entity_support.h"

namespace orbelin::model2 {

// A free note or a measured value: text, a number, a dictionary of values, or
// a media item.
//
// Entity "Note". It has no service identifier.
// Its dictionary form leaves out multiMedia, vital.
//
// Ownership and threads: as for every NSManagedObjectEx, the context owns
// the object, which is used on that context's thread or queue.
class Note2 : public NSManagedObjectEx {
 public:
  // The arguments of setProperties, in their order (see entity_support.h).
  struct Properties {
    Required<Date> created;
    Required<Date> lastModified;
    std::optional<Dictionary> dictionary = std::nullopt;
    std::optional<double> number = std::nullopt;
    std::optional<std::string> text = std::nullopt;
    MultiMedia2* multiMedia = nullptr;
    Vital2* vital = nullptr;
  };

  std::string className() const override;  // "Note"
  bool ignoreRelation(std::string_view name) const override;
  // The relations left out of the dictionary form, in order; the same for
  // every instance.
  std::span<const std::string_view> ignoreRelations() const;

  // Writes every required property and every optional one that is present;
  // absent ones keep their values. A present list replaces the relationship's
  // whole content (an empty list empties it). Nothing is saved.
  void setProperties(const Properties& properties);

  // Typed reads: absent (or null, or empty) when unset.
  std::optional<Date> created() const;
  std::optional<Date> lastModified() const;
  std::optional<Dictionary> dictionary() const;
  std::optional<double> number() const;
  std::optional<std::string> text() const;
  MultiMedia2* multiMedia() const;
  Vital2* vital() const;
};

}  // namespace orbelin::model2
