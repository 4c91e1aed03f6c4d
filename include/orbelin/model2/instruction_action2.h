#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/model2/entity_support.h"

namespace orbelin::model2 {

// One entry of an instruction's history.
//
// Entity "InstructionAction". It has no service identifier.
// Its dictionary form leaves out instruction.
//
// Ownership and threads: as for every NSManagedObjectEx, the context owns
// the object, which is used on that context's thread or queue.
class InstructionAction2 : public NSManagedObjectEx {
 public:
  // The arguments of setProperties, in their order (see entity_support.h).
  struct Properties {
    Required<InstructionActionTypeEnum> type;
    Required<Date> timeStamp;
    Required<Instruction2*> instruction;
    std::optional<std::string> comments = std::nullopt;
  };

  std::string className() const override;  // "InstructionAction"
  bool ignoreRelation(std::string_view name) const override;
  // The relations left out of the dictionary form, in order; the same for
  // every instance.
  std::span<const std::string_view> ignoreRelations() const;

  // Writes every required property and every optional one that is present;
  // absent ones keep their values. A present list replaces the relationship's
  // whole content (an empty list empties it). Nothing is saved.
  void setProperties(const Properties& properties);

  // Typed reads: absent (or null, or empty) when unset.
  // The raw value of a InstructionActionTypeEnum case.
  std::optional<std::string> type() const;
  std::optional<Date> timeStamp() const;
  Instruction2* instruction() const;
  std::optional<std::string> comments() const;
};

}  // namespace orbelin::model2
