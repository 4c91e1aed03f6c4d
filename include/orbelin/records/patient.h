#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/graph/fetch_request.h"
#include "orbelin/networking/json.h"
#include "orbelin/records/enums.h"
#include "orbelin/records/record.h"

namespace orbelin {

class Allergy;
class Barrier;
class Diagnosis;
class Medication;
class MedicalProblem;
class Notification;
class Room;
class Task;
class UserAppInfo;

// A patient: identity, demographics, clinical status texts, admission and
// discharge dates, room, tasks, lookups and the ids of the staff caring for
// them. See FirstGenerationRecord for ownership and threads.
class Patient : public FirstGenerationRecord {
 public:
  // The entity name and the JSON keys the import reads.
  struct Static {
    static constexpr std::string_view EntityName = "Patient";
    static constexpr std::string_view PatientDoctorApproval = "doctorApproval";
    static constexpr std::string_view PatientDischargeDisposition = "dischargeDisposition";
    static constexpr std::string_view PatientPatientID = "patientId";
    static constexpr std::string_view PatientFirstName = "fName";
    static constexpr std::string_view PatientLastName = "lName";
    static constexpr std::string_view PatientRoomNumber = "roomNumber";
    static constexpr std::string_view PatientGender = "gender";
    static constexpr std::string_view PatientAcuity = "acuity";
    static constexpr std::string_view PatientBirthdate = "birthdate";
    static constexpr std::string_view PatientAmbulatoryStatus = "ambulatoryStatus";
    static constexpr std::string_view PatientCodeStatus = "codeStatus";
    static constexpr std::string_view PatientDietType = "dietType";
    static constexpr std::string_view PatientImmunizationStatus = "immunizationStatus";
    static constexpr std::string_view PatientCoreMeasures = "coreMeasures";
    static constexpr std::string_view PatientAdmittedDate = "admittedDate";
    static constexpr std::string_view PatientStatus = "status";
    static constexpr std::string_view PatientPhysician = "physician";
    static constexpr std::string_view PatientDischargeDate = "dischargedDate";
    static constexpr std::string_view PatientDiagnoses = "diagnoses";
    static constexpr std::string_view PatientMedication = "medication";
    static constexpr std::string_view PatientAllergies = "allergies";
    static constexpr std::string_view PatientMedicalProblems = "medicalProblems";
    static constexpr std::string_view PatientTasks = "tasks";
    static constexpr std::string_view PatientBarriers = "barriers";
    static constexpr std::string_view PatientStaffIds = "staffIds";
    static constexpr std::string_view PatientRoom = "room";
  };

  // Always inserts a new patient (never looks for one with the same id) into
  // the shared stack's context, with new records for everything nested:
  // lookups (one per text, equal texts included), tasks (each element's
  // "task" member; each task brings its own new patient), barriers, and a
  // room when "room" is present. Missing or ill-typed members give the JSON
  // fallbacks ("", 0, the epoch, empty sets). The discharge date is moved
  // onto today (DateUtils::createSimulatedDateFrom421); when it cannot be
  // moved the date as sent is kept. Birth and admission dates are kept as
  // sent. Past the nested-import depth limit (records/model.h) the patient
  // gets its own attributes but no nested records.
  // Returns null only when the stack has no context.
  static Patient* create(const TamberNetworking::JSON& json);
  // A request for every patient, no predicate, no sort.
  static graph::FetchRequest fetchRequest();

  std::string doctorApproval() const { return textAt(kDoctorApproval); }
  void setDoctorApproval(std::string value) { setValueAt(kDoctorApproval, std::move(value)); }
  std::string dischargeDisposition() const { return textAt(kDischargeDisposition); }
  void setDischargeDisposition(std::string value) {
    setValueAt(kDischargeDisposition, std::move(value));
  }
  std::optional<std::int64_t> id() const { return integerAt(kId); }
  void setId(std::optional<std::int64_t> value) { setValueAt(kId, value); }
  std::string firstName() const { return textAt(kFirstName); }
  void setFirstName(std::string value) { setValueAt(kFirstName, std::move(value)); }
  std::string lastName() const { return textAt(kLastName); }
  void setLastName(std::string value) { setValueAt(kLastName, std::move(value)); }
  std::string roomNumber() const { return textAt(kRoomNumber); }
  void setRoomNumber(std::string value) { setValueAt(kRoomNumber, std::move(value)); }
  std::string gender() const { return textAt(kGender); }
  void setGender(std::string value) { setValueAt(kGender, std::move(value)); }
  std::optional<std::int64_t> acuity() const { return integerAt(kAcuity); }
  void setAcuity(std::optional<std::int64_t> value) { setValueAt(kAcuity, value); }
  OptionalDate birthdate() const { return dateAt(kBirthdate); }
  void setBirthdate(OptionalDate value) { setValueAt(kBirthdate, value); }
  std::string ambulatoryStatus() const { return textAt(kAmbulatoryStatus); }
  void setAmbulatoryStatus(std::string value) { setValueAt(kAmbulatoryStatus, std::move(value)); }
  std::string codeStatus() const { return textAt(kCodeStatus); }
  void setCodeStatus(std::string value) { setValueAt(kCodeStatus, std::move(value)); }
  std::string dietType() const { return textAt(kDietType); }
  void setDietType(std::string value) { setValueAt(kDietType, std::move(value)); }
  std::string immunizationStatus() const { return textAt(kImmunizationStatus); }
  void setImmunizationStatus(std::string value) {
    setValueAt(kImmunizationStatus, std::move(value));
  }
  std::string coreMeasures() const { return textAt(kCoreMeasures); }
  void setCoreMeasures(std::string value) { setValueAt(kCoreMeasures, std::move(value)); }
  OptionalDate admittedDate() const { return dateAt(kAdmittedDate); }
  void setAdmittedDate(OptionalDate value) { setValueAt(kAdmittedDate, value); }
  std::optional<std::int64_t> status() const { return integerAt(kStatus); }
  void setStatus(std::optional<std::int64_t> value) { setValueAt(kStatus, value); }
  std::string physician() const { return textAt(kPhysician); }
  void setPhysician(std::string value) { setValueAt(kPhysician, std::move(value)); }
  OptionalDate dischargedDate() const { return dateAt(kDischargedDate); }
  void setDischargedDate(OptionalDate value) { setValueAt(kDischargedDate, value); }
  // The staff ids in the order the service sent them (one stored list).
  std::vector<std::int64_t> staffIds() const;
  void setStaffIds(const std::vector<std::int64_t>& ids);

  std::vector<Diagnosis*> diagnoses() const;
  void setDiagnoses(const std::vector<Diagnosis*>& records);
  std::vector<Medication*> medications() const;
  void setMedications(const std::vector<Medication*>& records);
  std::vector<Allergy*> allergies() const;
  void setAllergies(const std::vector<Allergy*>& records);
  std::vector<MedicalProblem*> medicalProblems() const;
  void setMedicalProblems(const std::vector<MedicalProblem*>& records);
  std::vector<Task*> tasks() const;
  void setTasks(const std::vector<Task*>& records);
  std::vector<Barrier*> barriers() const;
  void setBarriers(const std::vector<Barrier*>& records);
  std::vector<Notification*> notifications() const;
  std::vector<UserAppInfo*> userInfos() const;
  Room* room() const;
  // Also makes the room point back at this patient (and unsets the room of
  // the patient it pointed at before).
  void setRoom(Room* room);

  // firstName, one space, lastName (always both parts and the space).
  std::string fullName() const;
  // Whole years from birthdate to now (DateUtils::ageFromDate); 0 without a
  // birthdate. The import leaves birthdate absent when the reply has none or
  // one that is not a date (null, "", a moment outside years 1 to 9999),
  // rather than the epoch that JSON::dateValue falls back to.
  std::int64_t age() const;
  // From dischargedDate minus today 09:41, in minutes and then hours, each
  // truncated toward zero: hours < 0 InThePast, 0 to 23 InToday, 24 and more
  // InTheFuture (so up to 59:59 before 09:41 is still InToday). Without a
  // discharge date: InTheFuture (no discharge is planned yet).
  DischargeStatus dischargeStatus() const;

  // Positions in the model (records/model.h).
  enum AttributeIndex : std::size_t {
    kDoctorApproval,
    kDischargeDisposition,
    kId,
    kFirstName,
    kLastName,
    kRoomNumber,
    kGender,
    kAcuity,
    kBirthdate,
    kAmbulatoryStatus,
    kCodeStatus,
    kDietType,
    kImmunizationStatus,
    kCoreMeasures,
    kAdmittedDate,
    kStatus,
    kPhysician,
    kDischargedDate,
    kStaffIds,
    kAttributeCount
  };
  enum RelationshipIndex : std::size_t {
    kDiagnoses,
    kMedications,
    kAllergies,
    kMedicalProblems,
    kTasks,
    kBarriers,
    kRoom,
    kNotifications,
    kUserInfos,
    kRelationshipCount
  };
};

}  // namespace orbelin
