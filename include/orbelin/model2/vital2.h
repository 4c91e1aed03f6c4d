#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/model2/entity_support.h"

namespace orbelin::model2 {

// One observation of a vital sign; the measured value is a Note2.
//
// Entity "Vital". It has no service identifier.
// Its dictionary form leaves out pateint.
//
// Ownership and threads: as for every NSManagedObjectEx, the context owns
// the object, which is used on that context's thread or queue.
class Vital2 : public NSManagedObjectEx {
 public:
  // The arguments of setProperties, in their order (see entity_support.h).
  struct Properties {
    Required<VitalTypeEnum> type;
    Required<Note2*> measurement;
    Required<Patient2*> pateint;
    std::optional<std::string> comments = std::nullopt;
  };

  std::string className() const override;  // "Vital"
  bool ignoreRelation(std::string_view name) const override;
  // The relations left out of the dictionary form, in order; the same for
  // every instance.
  std::span<const std::string_view> ignoreRelations() const;

  // Writes every required property and every optional one that is present;
  // absent ones keep their values. A present list replaces the relationship's
  // whole content (an empty list empties it). Nothing is saved.
  void setProperties(const Properties& properties);

  // Typed reads: absent (or null, or empty) when unset.
  // The raw value of a VitalTypeEnum case.
  std::optional<std::string> type() const;
  Note2* measurement() const;
  Patient2* pateint() const;
  std::optional<std::string> comments() const;
};

}  // namespace orbelin::model2
