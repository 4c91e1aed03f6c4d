#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/model2/entity_support.h"

namespace orbelin::model2 {

// The work item that carries out one instruction; it has no identifier of its own.
//
// Entity "Task". It has no service identifier.
// Its dictionary form leaves out no relation.
//
// Ownership and threads: as for every NSManagedObjectEx, the context owns
// the object, which is used on that context's thread or queue.
class Task2 : public NSManagedObjectEx {
 public:
  // The arguments of setProperties, in their order (see entity_support.h).
  struct Properties {
    Required<TaskTypeEnum> type;
    Required<Instruction2*> instruction;
    Required<StaffMember2*> owner;
    std::optional<TaskGroupEnum> group = std::nullopt;
    std::optional<std::vector<Message2*>> messages = std::nullopt;
    Patient2* pertainingPatient = nullptr;
  };

  std::string className() const override;  // "Task"

  // Writes every required property and every optional one that is present;
  // absent ones keep their values. A present list replaces the relationship's
  // whole content (an empty list empties it). Nothing is saved.
  void setProperties(const Properties& properties);

  // Typed reads: absent (or null, or empty) when unset.
  // The raw value of a TaskTypeEnum case.
  std::optional<std::string> type() const;
  Instruction2* instruction() const;
  StaffMember2* owner() const;
  // The raw value of a TaskGroupEnum case.
  std::optional<std::string> group() const;
  std::vector<Message2*> messages() const;
  Patient2* pertainingPatient() const;
};

}  // namespace orbelin::model2
