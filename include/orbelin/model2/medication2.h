#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/model2/entity_support.h"

namespace orbelin::model2 {

// A medication on a recovery path and the instruction that orders it.
//
// Entity "Medication". It has no service identifier.
// Its dictionary form leaves out recoveryPath.
//
// Ownership and threads: as for every NSManagedObjectEx, the context owns
// the object, which is used on that context's thread or queue.
class Medication2 : public NSManagedObjectEx {
 public:
  // The arguments of setProperties, in their order (see entity_support.h).
  struct Properties {
    Required<std::string> name;
    Required<std::string> commonName;
    Required<std::string> drugIdentificationNumber;
    Required<std::string> dosage;
    Required<Instruction2*> instruction;
    Required<RecoveryPath2*> recoveryPath;
  };

  std::string className() const override;  // "Medication"
  bool ignoreRelation(std::string_view name) const override;
  // The relations left out of the dictionary form, in order; the same for
  // every instance.
  std::span<const std::string_view> ignoreRelations() const;

  // Writes every required property and every optional one that is present;
  // absent ones keep their values. A present list replaces the relationship's
  // whole content (an empty list empties it). Nothing is saved.
  void setProperties(const Properties& properties);

  // Typed reads: absent (or null, or empty) when unset.
  std::optional<std::string> name() const;
  std::optional<std::string> commonName() const;
  std::optional<std::string> drugIdentificationNumber() const;
  std::optional<std::string> dosage() const;
  Instruction2* instruction() const;
  RecoveryPath2* recoveryPath() const;
};

}  // namespace orbelin::model2
