#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/model2/entity_support.h"

namespace orbelin::model2 {

// An appointment on a recovery path, with the staff members it is with.
//
// Entity "Appoitment". It has no service identifier.
// Its dictionary form leaves out recoveryPath.
//
// Ownership and threads: as for every NSManagedObjectEx, the context owns
// the object, which is used on that context's thread or queue.
class Appoitment2 : public NSManagedObjectEx {
 public:
  // The arguments of setProperties, in their order (see entity_support.h).
  struct Properties {
    Required<std::string> shortDesc;
    Required<Date> dateTime;
    Required<RecoveryPath2*> recoveryPath;
    std::optional<AppoitmentStatusEnum> status = std::nullopt;
    std::optional<std::string> longDesc = std::nullopt;
    std::optional<std::string> location = std::nullopt;
    std::optional<std::vector<StaffMember2*>> withStaffMembers = std::nullopt;
  };

  std::string className() const override;  // "Appoitment"
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
  std::optional<Date> dateTime() const;
  RecoveryPath2* recoveryPath() const;
  // The raw value of a AppoitmentStatusEnum case.
  std::optional<std::string> status() const;
  std::optional<std::string> longDesc() const;
  std::optional<std::string> location() const;
  std::vector<StaffMember2*> withStaffMembers() const;
};

}  // namespace orbelin::model2
