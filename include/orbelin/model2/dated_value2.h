#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/model2/entity_support.h"

namespace orbelin::model2 {

// One dated entry (a date and a text) of one of a patient's clinical lists. It is
// linked to its patient through the one of its seven patient_ relations that is
// the inverse of the list it is in; setProperties sets none of the seven.
//
// Entity "DatedValue". It has no service identifier.
// Its dictionary form leaves out patient_allergy, patient_barrier, patient_diagnosis,
// patient_roundingNote, patient_symptom, patient_immunization, patient_diet.
//
// Ownership and threads: as for every NSManagedObjectEx, the context owns
// the object, which is used on that context's thread or queue.
class DatedValue2 : public NSManagedObjectEx {
 public:
  // The arguments of setProperties, in their order (see entity_support.h).
  struct Properties {
    Required<Date> date;
    Required<std::string> value;
  };

  std::string className() const override;  // "DatedValue"
  bool ignoreRelation(std::string_view name) const override;
  // The relations left out of the dictionary form, in order; the same for
  // every instance.
  std::span<const std::string_view> ignoreRelations() const;

  // Writes every required property and every optional one that is present;
  // absent ones keep their values. A present list replaces the relationship's
  // whole content (an empty list empties it). Nothing is saved.
  void setProperties(const Properties& properties);

  using graph::ManagedObject::value;  // key-value access stays available beside value()
  // Typed reads: absent (or null, or empty) when unset.
  std::optional<Date> date() const;
  std::optional<std::string> value() const;
  Patient2* patient_allergy() const;
  Patient2* patient_barrier() const;
  Patient2* patient_diagnosis() const;
  Patient2* patient_roundingNote() const;
  Patient2* patient_symptom() const;
  Patient2* patient_immunization() const;
  Patient2* patient_diet() const;
};

}  // namespace orbelin::model2
