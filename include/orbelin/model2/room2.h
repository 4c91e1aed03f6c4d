#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/model2/entity_support.h"

namespace orbelin::model2 {

// A hospital room with its beds and patients.
//
// Entity "Room". Its service identifier is `roomNumber`.
// Its dictionary form leaves out no relation.
//
// Ownership and threads: as for every NSManagedObjectEx, the context owns
// the object, which is used on that context's thread or queue.
class Room2 : public NSManagedObjectEx {
 public:
  // The arguments of setProperties, in their order (see entity_support.h).
  struct Properties {
    Required<std::string> roomNumber;
    Required<std::string> floor;
    Required<HospitalUnitEnum> unit;
    std::optional<std::vector<Bed2*>> beds = std::nullopt;
    std::optional<std::vector<Patient2*>> patients = std::nullopt;
  };

  std::string className() const override;  // "Room"
  std::optional<std::string> externalObjectId() const override;
  std::optional<std::string> externalObjectIdName() const override;  // "roomNumber"

  // Writes every required property and every optional one that is present;
  // absent ones keep their values. A present list replaces the relationship's
  // whole content (an empty list empties it). Nothing is saved.
  void setProperties(const Properties& properties);

  // Typed reads: absent (or null, or empty) when unset.
  std::optional<std::string> roomNumber() const;
  std::optional<std::string> floor() const;
  // The raw value of a HospitalUnitEnum case.
  std::optional<std::string> unit() const;
  std::vector<Bed2*> beds() const;
  std::vector<Patient2*> patients() const;
};

}  // namespace orbelin::model2
