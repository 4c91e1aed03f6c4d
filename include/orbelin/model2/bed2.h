#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/model2/entity_support.h"

namespace orbelin::model2 {

// A bed in a room, and the patient in it.
//
// Entity "Bed". Its service identifier is `bedNumber`.
// Its dictionary form leaves out no relation.
//
// Ownership and threads: as for every NSManagedObjectEx, the context owns
// the object, which is used on that context's thread or queue.
class Bed2 : public NSManagedObjectEx {
 public:
  // The arguments of setProperties, in their order (see entity_support.h).
  struct Properties {
    Required<std::string> bedNumber;
    Required<Room2*> room;
    Patient2* patient = nullptr;
  };

  std::string className() const override;  // "Bed"
  std::optional<std::string> externalObjectId() const override;
  std::optional<std::string> externalObjectIdName() const override;  // "bedNumber"

  // Writes every required property and every optional one that is present;
  // absent ones keep their values. A present list replaces the relationship's
  // whole content (an empty list empties it). Nothing is saved.
  void setProperties(const Properties& properties);

  // Typed reads: absent (or null, or empty) when unset.
  std::optional<std::string> bedNumber() const;
  Room2* room() const;
  Patient2* patient() const;
};

}  // namespace orbelin::model2
