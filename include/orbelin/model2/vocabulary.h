#pragma once

#include <array>
#include <functional>

#include "orbelin/model2/raw_representable.h"

// The clinical vocabularies of the recovery-path records. Each enumeration
// names the cases of one vocabulary; its table gives the text that a record
// stores in its attribute and that the record's dictionary form carries. The
// texts are kept exactly as the hospital service and older stores have them,
// misspellings and placeholder questions included ("Repiratory Rate",
// "Dietition", "what else?"): changing one would orphan stored records.
//
// Every enumeration offers exactly (raw_representable.h):
//   fromRawValue<E>(text) -> std::optional<E>   whole-text, case-sensitive
//   rawValue(e)           -> std::string_view  the stored text
//   hashValue(e)          -> std::ptrdiff_t    the case's ordinal
//   e == f                                     same case
// and std::hash (the ordinal). Values are plain constants: any thread.
namespace orbelin::model2 {

// Stored in Alert2.category.
enum class AlertCategoryEnum { AbnormalTestResult, MoodDecline, FMTODO };
template <>
struct VocabularyTable<AlertCategoryEnum> {
  using enum AlertCategoryEnum;
  static constexpr std::array<VocabularyEntry<AlertCategoryEnum>, 3> entries{{
      {AbnormalTestResult, "AbnormalTestResult"},
      {MoodDecline, "MoodDecline"},
      {FMTODO, "what else?"},
  }};
};

// Stored in Alert2.severity.
enum class AlertSeverityEnum { High, Normal, Low };
template <>
struct VocabularyTable<AlertSeverityEnum> {
  using enum AlertSeverityEnum;
  static constexpr std::array<VocabularyEntry<AlertSeverityEnum>, 3> entries{{
      {High, "High"},
      {Normal, "Normal"},
      {Low, "Low"},
  }};
};

// Stored in Vital2.type.
enum class VitalTypeEnum {
  Pain,
  Stress,
  Anxiety,
  Wound,
  RepiratoryRate,
  HeartRate,
  BodyTemparture,
  BloodPressure
};
template <>
struct VocabularyTable<VitalTypeEnum> {
  using enum VitalTypeEnum;
  static constexpr std::array<VocabularyEntry<VitalTypeEnum>, 8> entries{{
      {Pain, "Pain"},
      {Stress, "Stress"},
      {Anxiety, "Anxiety"},
      {Wound, "Wound"},
      {RepiratoryRate, "Repiratory Rate"},
      {HeartRate, "Heart Rate"},
      {BodyTemparture, "Body Temparture"},
      {BloodPressure, "Blood Pressure"},
  }};
};

// Stored in Task2.type.
enum class TaskTypeEnum { FMTODO };
template <>
struct VocabularyTable<TaskTypeEnum> {
  using enum TaskTypeEnum;
  static constexpr std::array<VocabularyEntry<TaskTypeEnum>, 1> entries{{
      {FMTODO, "flush it out"},
  }};
};

// Stored in Task2.group.
enum class TaskGroupEnum { FMTODO };
template <>
struct VocabularyTable<TaskGroupEnum> {
  using enum TaskGroupEnum;
  static constexpr std::array<VocabularyEntry<TaskGroupEnum>, 1> entries{{
      {FMTODO, "is it needed? or shall it be left as free form text?"},
  }};
};

// Stored in Room2.unit.
enum class HospitalUnitEnum { FMTODO };
template <>
struct VocabularyTable<HospitalUnitEnum> {
  using enum HospitalUnitEnum;
  static constexpr std::array<VocabularyEntry<HospitalUnitEnum>, 1> entries{{
      {FMTODO, "is it needed? or shall it be left as free form text?"},
  }};
};

// Stored in RecoveryPath2.dischargeApprovalState.
enum class DischargeApprovalStateEnum { Approved, Pending };
template <>
struct VocabularyTable<DischargeApprovalStateEnum> {
  using enum DischargeApprovalStateEnum;
  static constexpr std::array<VocabularyEntry<DischargeApprovalStateEnum>, 2> entries{{
      {Approved, "Approved"},
      {Pending, "Pending"},
  }};
};

// Stored in RecoveryPath2.dischargeDisposition.
enum class DischargeDispositionEnum { Home, NursingHome, Other };
template <>
struct VocabularyTable<DischargeDispositionEnum> {
  using enum DischargeDispositionEnum;
  static constexpr std::array<VocabularyEntry<DischargeDispositionEnum>, 3> entries{{
      {Home, "Home"},
      {NursingHome, "NursingHome"},
      {Other, "Other"},
  }};
};

// Stored in Instruction2.frequency, beside the 32-bit number Instruction2.frequencyUnit.
enum class InstructionFrequencyEnum { BedTime, MealTime, Hour, Day };
template <>
struct VocabularyTable<InstructionFrequencyEnum> {
  using enum InstructionFrequencyEnum;
  static constexpr std::array<VocabularyEntry<InstructionFrequencyEnum>, 4> entries{{
      {BedTime, "BedTime"},
      {MealTime, "MealTime"},
      {Hour, "Hour"},
      {Day, "Day"},
  }};
};

// Stored in InstructionAction2.type.
enum class InstructionActionTypeEnum { Complete, Missed };
template <>
struct VocabularyTable<InstructionActionTypeEnum> {
  using enum InstructionActionTypeEnum;
  static constexpr std::array<VocabularyEntry<InstructionActionTypeEnum>, 2> entries{{
      {Complete, "Complete"},
      {Missed, "Missed"},
  }};
};

// Stored in Instruction2.status.
enum class InstructionStatusEnum { Issued, Pending, Delayed, Rejected, Approved, Delegated };
template <>
struct VocabularyTable<InstructionStatusEnum> {
  using enum InstructionStatusEnum;
  static constexpr std::array<VocabularyEntry<InstructionStatusEnum>, 6> entries{{
      {Issued, "Issued"},
      {Pending, "Pending"},
      {Delayed, "Delayed"},
      {Rejected, "Rejected"},
      {Approved, "Approved"},
      {Delegated, "Delegated"},
  }};
};

// Stored in Appoitment2.status.
enum class AppoitmentStatusEnum { Scheduled, Pending, Delayed, Complete, Missed };
template <>
struct VocabularyTable<AppoitmentStatusEnum> {
  using enum AppoitmentStatusEnum;
  static constexpr std::array<VocabularyEntry<AppoitmentStatusEnum>, 5> entries{{
      {Scheduled, "Scheduled"},
      {Pending, "Pending"},
      {Delayed, "Delayed"},
      {Complete, "Complete"},
      {Missed, "Missed"},
  }};
};

// Stored in BookletSection2.category.
enum class BookletSectionCategoryEnum {
  Diet,
  Treatments,
  Tests,
  Preparation,
  Nutrition,
  OperatingRoom,
  PainManagement,
  Activity,
  Mobilisation,
  Breathing,
  SelfCare,
  Elimination,
  Circulation,
  Procedure,
  LifeStyle,
  Facility,
  ContactUs,
  Other
};
template <>
struct VocabularyTable<BookletSectionCategoryEnum> {
  using enum BookletSectionCategoryEnum;
  static constexpr std::array<VocabularyEntry<BookletSectionCategoryEnum>, 18> entries{{
      {Diet, "Diet"},
      {Treatments, "Treatments"},
      {Tests, "Tests"},
      {Preparation, "Preparation"},
      {Nutrition, "Nutrition"},
      {OperatingRoom, "Operating Room"},
      {PainManagement, "Pain Management"},
      {Activity, "Activity"},
      {Mobilisation, "Mobilisation"},
      {Breathing, "Breathing"},
      {SelfCare, "Self Care"},
      {Elimination, "Elimination"},
      {Circulation, "Circulation"},
      {Procedure, "Procedure"},
      {LifeStyle, "Life Style"},
      {Facility, "Facility"},
      {ContactUs, "Contact Us"},
      {Other, "Other"},
  }};
};

// Stored in Patient2.status.
enum class PatientStatusEnum { ToBeAdmitted, Admitted, ReadyToDischarge, Discharged };
template <>
struct VocabularyTable<PatientStatusEnum> {
  using enum PatientStatusEnum;
  static constexpr std::array<VocabularyEntry<PatientStatusEnum>, 4> entries{{
      {ToBeAdmitted, "To Be Admitted"},
      {Admitted, "Admitted"},
      {ReadyToDischarge, "Ready To Discharge"},
      {Discharged, "Discharged"},
  }};
};

// Stored in Patient2.gender.
enum class GenderEnum { Male, Female, Unspecified };
template <>
struct VocabularyTable<GenderEnum> {
  using enum GenderEnum;
  static constexpr std::array<VocabularyEntry<GenderEnum>, 3> entries{{
      {Male, "Male"},
      {Female, "Female"},
      {Unspecified, "Unspecified"},
  }};
};

// Stored in Patient2.acuity.
enum class PatientAcuityEnum { FMTODO };
template <>
struct VocabularyTable<PatientAcuityEnum> {
  using enum PatientAcuityEnum;
  static constexpr std::array<VocabularyEntry<PatientAcuityEnum>, 1> entries{{
      {FMTODO, "flush this out"},
  }};
};

// Stored in Patient2.ambulatoryStatus.
enum class PatientAmbulatoryStatus { WalkingWithAssistance, OnWheelchair, Walking, Unknown };
template <>
struct VocabularyTable<PatientAmbulatoryStatus> {
  using enum PatientAmbulatoryStatus;
  static constexpr std::array<VocabularyEntry<PatientAmbulatoryStatus>, 4> entries{{
      {WalkingWithAssistance, "WalkingWithAssistance"},
      {OnWheelchair, "OnWheelchair"},
      {Walking, "Walking"},
      {Unknown, "Unknown"},
  }};
};

// Stored in Message2.category.
enum class MessageCategoryEnum { Lab, Equipment, Hospital, Patient, Undefined };
template <>
struct VocabularyTable<MessageCategoryEnum> {
  using enum MessageCategoryEnum;
  static constexpr std::array<VocabularyEntry<MessageCategoryEnum>, 5> entries{{
      {Lab, "Lab"},
      {Equipment, "Equipment"},
      {Hospital, "Hospital"},
      {Patient, "Patient"},
      {Undefined, "Undefined"},
  }};
};

// Stored in Message2.priority.
enum class MessagePriorityEnum { High, Normal, Low };
template <>
struct VocabularyTable<MessagePriorityEnum> {
  using enum MessagePriorityEnum;
  static constexpr std::array<VocabularyEntry<MessagePriorityEnum>, 3> entries{{
      {High, "High"},
      {Normal, "Normal"},
      {Low, "Low"},
  }};
};

// Stored in Message2.status.
enum class MessageStatusEnum { Delivered, Failed, Draft, Deleted, Undefined };
template <>
struct VocabularyTable<MessageStatusEnum> {
  using enum MessageStatusEnum;
  static constexpr std::array<VocabularyEntry<MessageStatusEnum>, 5> entries{{
      {Delivered, "Delivered"},
      {Failed, "Failed"},
      {Draft, "Draft"},
      {Deleted, "Deleted"},
      {Undefined, "Undefined"},
  }};
};

// Stored in StaffMember2.role.
enum class StaffMemberRoleEnum {
  ChargeNurse,
  RegisteredNurse,
  NursePractitioner,
  FamilyPhysician,
  Surgeon,
  Specialist,
  Dietition,
  Physiotherapist,
  SocialWorker,
  Nutritionist,
  Pharmacist
};
template <>
struct VocabularyTable<StaffMemberRoleEnum> {
  using enum StaffMemberRoleEnum;
  static constexpr std::array<VocabularyEntry<StaffMemberRoleEnum>, 11> entries{{
      {ChargeNurse, "Charge Nurse"},
      {RegisteredNurse, "Registered Nurse"},
      {NursePractitioner, "Nurse Practitioner"},
      {FamilyPhysician, "Family Physician"},
      {Surgeon, "Surgeon"},
      {Specialist, "Specialist"},
      {Dietition, "Dietition"},
      {Physiotherapist, "Physiotherapist"},
      {SocialWorker, "Social Worker"},
      {Nutritionist, "Nutritionist"},
      {Pharmacist, "Pharmacist"},
  }};
};

}  // namespace orbelin::model2

namespace std {

template <>
struct hash<orbelin::model2::AlertCategoryEnum>
    : orbelin::model2::VocabularyHash<orbelin::model2::AlertCategoryEnum> {};
template <>
struct hash<orbelin::model2::AlertSeverityEnum>
    : orbelin::model2::VocabularyHash<orbelin::model2::AlertSeverityEnum> {};
template <>
struct hash<orbelin::model2::VitalTypeEnum>
    : orbelin::model2::VocabularyHash<orbelin::model2::VitalTypeEnum> {};
template <>
struct hash<orbelin::model2::TaskTypeEnum>
    : orbelin::model2::VocabularyHash<orbelin::model2::TaskTypeEnum> {};
template <>
struct hash<orbelin::model2::TaskGroupEnum>
    : orbelin::model2::VocabularyHash<orbelin::model2::TaskGroupEnum> {};
template <>
struct hash<orbelin::model2::HospitalUnitEnum>
    : orbelin::model2::VocabularyHash<orbelin::model2::HospitalUnitEnum> {};
template <>
struct hash<orbelin::model2::DischargeApprovalStateEnum>
    : orbelin::model2::VocabularyHash<orbelin::model2::DischargeApprovalStateEnum> {};
template <>
struct hash<orbelin::model2::DischargeDispositionEnum>
    : orbelin::model2::VocabularyHash<orbelin::model2::DischargeDispositionEnum> {};
template <>
struct hash<orbelin::model2::InstructionFrequencyEnum>
    : orbelin::model2::VocabularyHash<orbelin::model2::InstructionFrequencyEnum> {};
template <>
struct hash<orbelin::model2::InstructionActionTypeEnum>
    : orbelin::model2::VocabularyHash<orbelin::model2::InstructionActionTypeEnum> {};
template <>
struct hash<orbelin::model2::InstructionStatusEnum>
    : orbelin::model2::VocabularyHash<orbelin::model2::InstructionStatusEnum> {};
template <>
struct hash<orbelin::model2::AppoitmentStatusEnum>
    : orbelin::model2::VocabularyHash<orbelin::model2::AppoitmentStatusEnum> {};
template <>
struct hash<orbelin::model2::BookletSectionCategoryEnum>
    : orbelin::model2::VocabularyHash<orbelin::model2::BookletSectionCategoryEnum> {};
template <>
struct hash<orbelin::model2::PatientStatusEnum>
    : orbelin::model2::VocabularyHash<orbelin::model2::PatientStatusEnum> {};
template <>
struct hash<orbelin::model2::GenderEnum>
    : orbelin::model2::VocabularyHash<orbelin::model2::GenderEnum> {};
template <>
struct hash<orbelin::model2::PatientAcuityEnum>
    : orbelin::model2::VocabularyHash<orbelin::model2::PatientAcuityEnum> {};
template <>
struct hash<orbelin::model2::PatientAmbulatoryStatus>
    : orbelin::model2::VocabularyHash<orbelin::model2::PatientAmbulatoryStatus> {};
template <>
struct hash<orbelin::model2::MessageCategoryEnum>
    : orbelin::model2::VocabularyHash<orbelin::model2::MessageCategoryEnum> {};
template <>
struct hash<orbelin::model2::MessagePriorityEnum>
    : orbelin::model2::VocabularyHash<orbelin::model2::MessagePriorityEnum> {};
template <>
struct hash<orbelin::model2::MessageStatusEnum>
    : orbelin::model2::VocabularyHash<orbelin::model2::MessageStatusEnum> {};
template <>
struct hash<orbelin::model2::StaffMemberRoleEnum>
    : orbelin::model2::VocabularyHash<orbelin::model2::StaffMemberRoleEnum> {};

}  // namespace std
