#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/model2/entity_support.h"

namespace orbelin::model2 {

// A patient in a stay: identity, status, clinical lists, alerts, vitals, bed and
// room, and the recovery path.
//
// Entity "Patient". Its service identifier is `patientId`.
// Its dictionary form leaves out no relation.
//
// Ownership and threads: as for every NSManagedObjectEx, the context owns
// the object, which is used on that context's thread or queue.
class Patient2 : public NSManagedObjectEx {
 public:
  // The arguments of setProperties, in their order (see entity_support.h).
  struct Properties {
    Required<std::string> patientId;
    Required<std::string> firstName;
    Required<std::string> lastName;
    Required<GenderEnum> gender;
    Required<Date> birthDate;
    std::optional<PatientAcuityEnum> acuity = std::nullopt;
    std::optional<PatientAmbulatoryStatus> ambulatoryStatus = std::nullopt;
    std::optional<std::string> physicianName = std::nullopt;
    std::optional<PatientStatusEnum> status = std::nullopt;
    std::optional<std::vector<Alert2*>> alerts = std::nullopt;
    std::optional<std::vector<DatedValue2*>> allergies = std::nullopt;
    std::optional<std::vector<DatedValue2*>> barriers = std::nullopt;
    Bed2* bed = nullptr;
    std::optional<std::vector<DatedValue2*>> diagnoses = std::nullopt;
    std::optional<std::vector<DatedValue2*>> diets = std::nullopt;
    std::optional<std::vector<DatedValue2*>> immunizations = std::nullopt;
    std::optional<std::vector<Message2*>> pertainingMessages = std::nullopt;
    std::optional<std::vector<Task2*>> pertainingTasks = std::nullopt;
    RecoveryPath2* recoveryPath = nullptr;
    Room2* room = nullptr;
    StaffMember2* roundedBy = nullptr;
    std::optional<std::vector<DatedValue2*>> roundingNotes = std::nullopt;
    std::optional<std::vector<DatedValue2*>> symptoms = std::nullopt;
    std::optional<std::vector<Vital2*>> vitals = std::nullopt;
  };

  std::string className() const override;  // "Patient"
  std::optional<std::string> externalObjectId() const override;
  std::optional<std::string> externalObjectIdName() const override;  // "patientId"

  // Writes every required property and every optional one that is present;
  // absent ones keep their values. A present list replaces the relationship's
  // whole content (an empty list empties it). Nothing is saved.
  void setProperties(const Properties& properties);

  // Typed reads: absent (or null, or empty) when unset.
  std::optional<std::string> patientId() const;
  std::optional<std::string> firstName() const;
  std::optional<std::string> lastName() const;
  // The raw value of a GenderEnum case.
  std::optional<std::string> gender() const;
  std::optional<Date> birthDate() const;
  // The raw value of a PatientAcuityEnum case.
  std::optional<std::string> acuity() const;
  // The raw value of a PatientAmbulatoryStatus case.
  std::optional<std::string> ambulatoryStatus() const;
  std::optional<std::string> physicianName() const;
  // The raw value of a PatientStatusEnum case.
  std::optional<std::string> status() const;
  std::vector<Alert2*> alerts() const;
  std::vector<DatedValue2*> allergies() const;
  std::vector<DatedValue2*> barriers() const;
  Bed2* bed() const;
  std::vector<DatedValue2*> diagnoses() const;
  std::vector<DatedValue2*> diets() const;
  std::vector<DatedValue2*> immunizations() const;
  std::vector<Message2*> pertainingMessages() const;
  std::vector<Task2*> pertainingTasks() const;
  RecoveryPath2* recoveryPath() const;
  Room2* room() const;
  StaffMember2* roundedBy() const;
  std::vector<DatedValue2*> roundingNotes() const;
  std::vector<DatedValue2*> symptoms() const;
  std::vector<Vital2*> vitals() const;
};

}  // namespace orbelin::model2
