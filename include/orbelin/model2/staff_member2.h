#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/model2/entity_support.h"

namespace orbelin::model2 {

// A member of the care team, with the records that name them.
//
// Entity "StaffMember". Its service identifier is `staffId`.
// Its dictionary form leaves out analyzedResults, appoitments, issuedInstructions, careMemberIn.
//
// Ownership and threads: as for every NSManagedObjectEx, the context owns
// the object, which is used on that context's thread or queue.
class StaffMember2 : public NSManagedObjectEx {
 public:
  // The arguments of setProperties, in their order (see entity_support.h).
  struct Properties {
    Required<std::string> staffId;
    Required<std::string> firstName;
    Required<std::string> lastName;
    Required<StaffMemberRoleEnum> role;
    Required<std::string> phoneNumber;
    std::optional<std::string> email = std::nullopt;
    std::optional<std::string> faceTimeId = std::nullopt;
    std::optional<std::string> profilePictureURL = std::nullopt;
    std::optional<std::vector<TestResult2*>> analyzedResults = std::nullopt;
    std::optional<std::vector<Appoitment2*>> appoitments = std::nullopt;
    std::optional<std::vector<Instruction2*>> issuedInstructions = std::nullopt;
    std::optional<std::vector<RecoveryPath2*>> careMemberIn = std::nullopt;
    std::optional<std::vector<Shift2*>> shifts = std::nullopt;
    std::optional<std::vector<Task2*>> tasks = std::nullopt;
    std::optional<std::vector<Patient2*>> roundingPatients = std::nullopt;
  };

  std::string className() const override;  // "StaffMember"
  std::optional<std::string> externalObjectId() const override;
  std::optional<std::string> externalObjectIdName() const override;  // "staffId"
  bool ignoreRelation(std::string_view name) const override;
  // The relations left out of the dictionary form, in order; the same for
  // every instance.
  std::span<const std::string_view> ignoreRelations() const;

  // Writes every required property and every optional one that is present;
  // absent ones keep their values. A present list replaces the relationship's
  // whole content (an empty list empties it). Nothing is saved.
  void setProperties(const Properties& properties);

  // Typed reads: absent (or null, or empty) when unset.
  std::optional<std::string> staffId() const;
  std::optional<std::string> firstName() const;
  std::optional<std::string> lastName() const;
  // The raw value of a StaffMemberRoleEnum case.
  std::optional<std::string> role() const;
  std::optional<std::string> phoneNumber() const;
  std::optional<std::string> email() const;
  std::optional<std::string> faceTimeId() const;
  std::optional<std::string> profilePictureURL() const;
  std::vector<TestResult2*> analyzedResults() const;
  std::vector<Appoitment2*> appoitments() const;
  std::vector<Instruction2*> issuedInstructions() const;
  std::vector<RecoveryPath2*> careMemberIn() const;
  std::vector<Shift2*> shifts() const;
  std::vector<Task2*> tasks() const;
  std::vector<Patient2*> roundingPatients() const;
};

}  // namespace orbelin::model2
