#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/model2/entity_support.h"

namespace orbelin::model2 {

// One patient's stay from admission to discharge: appointments in order, care
// team, booklets, instructions, medical tests and medications.
//
// Entity "RecoveryPath". It has no service identifier.
// Its dictionary form leaves out patient.
//
// Ownership and threads: as for every NSManagedObjectEx, the context owns
// the object, which is used on that context's thread or queue.
class RecoveryPath2 : public NSManagedObjectEx {
 public:
  // The arguments of setProperties, in their order (see entity_support.h).
  struct Properties {
    Required<Patient2*> patient;
    std::optional<Date> admissionDate = std::nullopt;
    std::optional<Date> dischargeDate = std::nullopt;
    std::optional<DischargeDispositionEnum> dischargeDisposition = std::nullopt;
    std::optional<DischargeApprovalStateEnum> dischargeApprovalState = std::nullopt;
    std::optional<std::vector<Appoitment2*>> appoitments = std::nullopt;
    std::optional<std::vector<StaffMember2*>> careTeam = std::nullopt;
    std::optional<std::vector<InformationBooklet2*>> informationBooklets = std::nullopt;
    std::optional<std::vector<Instruction2*>> instructions = std::nullopt;
    std::optional<std::vector<MedicalTest2*>> medicalTests = std::nullopt;
    std::optional<std::vector<Medication2*>> medications = std::nullopt;
  };

  std::string className() const override;  // "RecoveryPath"
  bool ignoreRelation(std::string_view name) const override;
  // The relations left out of the dictionary form, in order; the same for
  // every instance.
  std::span<const std::string_view> ignoreRelations() const;

  // Writes every required property and every optional one that is present;
  // absent ones keep their values. A present list replaces the relationship's
  // whole content (an empty list empties it). Nothing is saved.
  void setProperties(const Properties& properties);

  // Typed reads: absent (or null, or empty) when unset.
  Patient2* patient() const;
  std::optional<Date> admissionDate() const;
  std::optional<Date> dischargeDate() const;
  // The raw value of a DischargeDispositionEnum case.
  std::optional<std::string> dischargeDisposition() const;
  // The raw value of a DischargeApprovalStateEnum case.
  std::optional<std::string> dischargeApprovalState() const;
  std::vector<Appoitment2*> appoitments() const;
  std::vector<StaffMember2*> careTeam() const;
  std::vector<InformationBooklet2*> informationBooklets() const;
  std::vector<Instruction2*> instructions() const;
  std::vector<MedicalTest2*> medicalTests() const;
  std::vector<Medication2*> medications() const;
};

}  // namespace orbelin::model2
