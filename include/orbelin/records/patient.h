#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

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
  static graph::FetchRequest fetchRequest() { return fetchRequestFor(Static::EntityName); }

  static constexpr Property kProperties[] = {
      {"doctorApproval", kText, Static::PatientDoctorApproval},
      {"dischargeDisposition", kText, Static::PatientDischargeDisposition},
      {"id", kInteger, Static::PatientPatientID},
      {"firstName", kText, Static::PatientFirstName},
      {"lastName", kText, Static::PatientLastName},
      {"roomNumber", kText, Static::PatientRoomNumber},
      {"gender", kText, Static::PatientGender},
      {"acuity", kInteger, Static::PatientAcuity},
      {.name = "birthdate", .kind = kDate, .key = Static::PatientBirthdate, .read = kByHand},
      {"ambulatoryStatus", kText, Static::PatientAmbulatoryStatus},
      {"codeStatus", kText, Static::PatientCodeStatus},
      {"dietType", kText, Static::PatientDietType},
      {"immunizationStatus", kText, Static::PatientImmunizationStatus},
      {"coreMeasures", kText, Static::PatientCoreMeasures},
      {"admittedDate", kDate, Static::PatientAdmittedDate},
      {"status", kInteger, Static::PatientStatus},
      {"physician", kText, Static::PatientPhysician},
      {.name = "dischargedDate",
       .kind = kDate,
       .key = Static::PatientDischargeDate,
       .read = kMovedOntoToday},
      {.name = "staffIds", .kind = kList, .key = Static::PatientStaffIds, .read = kByHand},
      {"diagnoses", kToMany, Static::PatientDiagnoses, "Diagnosis", "patients"},
      {"medications", kToMany, Static::PatientMedication, "Medication", "patients"},
      {"allergies", kToMany, Static::PatientAllergies, "Allergy", "patients"},
      {"medicalProblems", kToMany, Static::PatientMedicalProblems, "MedicalProblem", "patients"},
      {"tasks", kToMany, Static::PatientTasks, "Task"},
      {"barriers", kToMany, Static::PatientBarriers, "Barrier", "patients"},
      {"room", kToOne, Static::PatientRoom, "Room", "patient"},
      {"notifications", kToMany, {}, "Notification"},
      {"userInfos", kToMany, {}, "UserAppInfo", "patients"},
  };

 private:
  static consteval std::size_t at(std::string_view name) { return indexIn(kProperties, name); }

 public:
  std::string doctorApproval() const { return textAt(at("doctorApproval")); }
  void setDoctorApproval(std::string value) { setValueAt(at("doctorApproval"), std::move(value)); }
  std::string dischargeDisposition() const { return textAt(at("dischargeDisposition")); }
  void setDischargeDisposition(std::string value) {
    setValueAt(at("dischargeDisposition"), std::move(value));
  }
  std::optional<std::int64_t> id() const { return integerAt(at("id")); }
  void setId(std::optional<std::int64_t> value) { setValueAt(at("id"), value); }
  std::string firstName() const { return textAt(at("firstName")); }
  void setFirstName(std::string value) { setValueAt(at("firstName"), std::move(value)); }
  std::string lastName() const { return textAt(at("lastName")); }
  void setLastName(std::string value) { setValueAt(at("lastName"), std::move(value)); }
  std::string roomNumber() const { return textAt(at("roomNumber")); }
  void setRoomNumber(std::string value) { setValueAt(at("roomNumber"), std::move(value)); }
  std::string gender() const { return textAt(at("gender")); }
  void setGender(std::string value) { setValueAt(at("gender"), std::move(value)); }
  std::optional<std::int64_t> acuity() const { return integerAt(at("acuity")); }
  void setAcuity(std::optional<std::int64_t> value) { setValueAt(at("acuity"), value); }
  OptionalDate birthdate() const { return dateAt(at("birthdate")); }
  void setBirthdate(OptionalDate value) { setValueAt(at("birthdate"), value); }
  std::string ambulatoryStatus() const { return textAt(at("ambulatoryStatus")); }
  void setAmbulatoryStatus(std::string value) {
    setValueAt(at("ambulatoryStatus"), std::move(value));
  }
  std::string codeStatus() const { return textAt(at("codeStatus")); }
  void setCodeStatus(std::string value) { setValueAt(at("codeStatus"), std::move(value)); }
  std::string dietType() const { return textAt(at("dietType")); }
  void setDietType(std::string value) { setValueAt(at("dietType"), std::move(value)); }
  std::string immunizationStatus() const { return textAt(at("immunizationStatus")); }
  void setImmunizationStatus(std::string value) {
    setValueAt(at("immunizationStatus"), std::move(value));
  }
  std::string coreMeasures() const { return textAt(at("coreMeasures")); }
  void setCoreMeasures(std::string value) { setValueAt(at("coreMeasures"), std::move(value)); }
  OptionalDate admittedDate() const { return dateAt(at("admittedDate")); }
  void setAdmittedDate(OptionalDate value) { setValueAt(at("admittedDate"), value); }
  std::optional<std::int64_t> status() const { return integerAt(at("status")); }
  void setStatus(std::optional<std::int64_t> value) { setValueAt(at("status"), value); }
  std::string physician() const { return textAt(at("physician")); }
  void setPhysician(std::string value) { setValueAt(at("physician"), std::move(value)); }
  OptionalDate dischargedDate() const { return dateAt(at("dischargedDate")); }
  void setDischargedDate(OptionalDate value) { setValueAt(at("dischargedDate"), value); }
  // The staff ids in the order the service sent them (one stored list).
  std::vector<std::int64_t> staffIds() const;
  void setStaffIds(const std::vector<std::int64_t>& ids);

  std::vector<Diagnosis*> diagnoses() const { return toManyAt<Diagnosis>(at("diagnoses")); }
  void setDiagnoses(const std::vector<Diagnosis*>& records) {
    setToManyAt(at("diagnoses"), records);
  }
  std::vector<Medication*> medications() const { return toManyAt<Medication>(at("medications")); }
  void setMedications(const std::vector<Medication*>& records) {
    setToManyAt(at("medications"), records);
  }
  std::vector<Allergy*> allergies() const { return toManyAt<Allergy>(at("allergies")); }
  void setAllergies(const std::vector<Allergy*>& records) { setToManyAt(at("allergies"), records); }
  std::vector<MedicalProblem*> medicalProblems() const {
    return toManyAt<MedicalProblem>(at("medicalProblems"));
  }
  void setMedicalProblems(const std::vector<MedicalProblem*>& records) {
    setToManyAt(at("medicalProblems"), records);
  }
  std::vector<Task*> tasks() const { return toManyAt<Task>(at("tasks")); }
  void setTasks(const std::vector<Task*>& records) { setToManyAt(at("tasks"), records); }
  std::vector<Barrier*> barriers() const { return toManyAt<Barrier>(at("barriers")); }
  void setBarriers(const std::vector<Barrier*>& records) { setToManyAt(at("barriers"), records); }
  std::vector<Notification*> notifications() const {
    return toManyAt<Notification>(at("notifications"));
  }
  std::vector<UserAppInfo*> userInfos() const { return toManyAt<UserAppInfo>(at("userInfos")); }
  Room* room() const { return toOneAt<Room>(at("room")); }
  // Also makes the room point back at this patient (and unsets the room of
  // the patient it pointed at before).
  void setRoom(Room* room) { setToOneAt(at("room"), room); }

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
};

}  // namespace orbelin
