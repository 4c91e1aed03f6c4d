#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/model2/entity_support.h"

namespace orbelin::model2 {

// An order or piece of advice on a recovery path, with its schedule, its history
// of actions and the task that carries it out.
//
// Entity "Instruction". It has no service identifier.
// Its dictionary form leaves out recoveryPath, medication, task.
//
// Ownership and threads: as for every NSManagedObjectEx, the context owns
// the object, which is used on that context's thread or queue.
class Instruction2 : public NSManagedObjectEx {
 public:
  // The arguments of setProperties, in their order (see entity_support.h).
  struct Properties {
    Required<std::string> shortDesc;
    Required<InstructionStatusEnum> status;
    std::optional<std::string> longDesc = std::nullopt;
    std::optional<std::string> educationURL = std::nullopt;
    std::optional<std::string> imageURL = std::nullopt;
    std::optional<Date> startDateTime = std::nullopt;
    std::optional<InstructionFrequencyEnum> frequency = std::nullopt;
    std::optional<std::int32_t> frequencyUnit = std::nullopt;
    std::optional<Date> createdAt = std::nullopt;
    std::optional<Date> completedAt = std::nullopt;
    std::optional<bool> needsReminder = std::nullopt;
    std::optional<std::vector<InstructionAction2*>> actions = std::nullopt;
    StaffMember2* issuedBy = nullptr;
    RecoveryPath2* recoveryPath = nullptr;
    Medication2* medication = nullptr;
    Task2* task = nullptr;
  };

  std::string className() const override;  // "Instruction"
  bool ignoreRelation(std::string_view name) const override;
  // The relations left out of the dictionary form, in order; the same for
  // every instance.
  std::span<const std::string_view> ignoreRelations() const;

  // Writes every required property and every optional one that is present;
  // absent ones keep their values. A present list replaces the relationship's
  // whole content (an empty list empties it). Nothing is saved.
  void setProperties(const Properties& properties);

  // Typed reads: absent (or null, or empty) when unset.
  std::optional<std::string> shortDesc() const;
  // The raw value of a InstructionStatusEnum case.
  std::optional<std::string> status() const;
  std::optional<std::string> longDesc() const;
  std::optional<std::string> educationURL() const;
  std::optional<std::string> imageURL() const;
  std::optional<Date> startDateTime() const;
  // The raw value of a InstructionFrequencyEnum case.
  std::optional<std::string> frequency() const;
  std::optional<std::int32_t> frequencyUnit() const;
  std::optional<Date> createdAt() const;
  std::optional<Date> completedAt() const;
  std::optional<bool> needsReminder() const;
  std::vector<InstructionAction2*> actions() const;
  StaffMember2* issuedBy() const;
  RecoveryPath2* recoveryPath() const;
  Medication2* medication() const;
  Task2* task() const;
};

}  // namespace orbelin::model2
