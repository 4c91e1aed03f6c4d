#include "orbelin/model2/hospital_model.h"

#include <mutex>

#include "orbelin/graph/model_catalog.h"
#include "orbelin/model2/entities.h"
#include "orbelin/platform/console.h"

namespace orbelin::model2 {

namespace {

using graph::AttributeType;

// One function per entity; properties in the order of setProperties'
// arguments, which is also the order of the dictionary form.
void describeAlert2(graph::ModelBuilder& builder) {
  builder.entity<Alert2>("Alert", "Alert2")
      .attribute("alertId", AttributeType::String)
      .attribute("shortDesc", AttributeType::String)
      .attribute("category", AttributeType::String)
      .attribute("severity", AttributeType::String)
      .attribute("created", AttributeType::Date)
      .attribute("lastModified", AttributeType::Date)
      .attribute("longDesc", AttributeType::String)
      .toOne("patient", "Patient", "alerts");
}

void describeAppoitment2(graph::ModelBuilder& builder) {
  builder.entity<Appoitment2>("Appoitment", "Appoitment2")
      .attribute("shortDesc", AttributeType::String)
      .attribute("dateTime", AttributeType::Date)
      .toOne("recoveryPath", "RecoveryPath", "appoitments")
      .attribute("status", AttributeType::String)
      .attribute("longDesc", AttributeType::String)
      .attribute("location", AttributeType::String)
      .toMany("withStaffMembers", "StaffMember", "appoitments");
}

void describeBed2(graph::ModelBuilder& builder) {
  builder.entity<Bed2>("Bed", "Bed2")
      .attribute("bedNumber", AttributeType::String)
      .toOne("room", "Room", "beds")
      .toOne("patient", "Patient", "bed");
}

void describeBookletSection2(graph::ModelBuilder& builder) {
  builder.entity<BookletSection2>("BookletSection", "BookletSection2")
      .attribute("category", AttributeType::String)
      .attribute("title", AttributeType::String)
      .attribute("body", AttributeType::String)
      .toOne("informationBooklet", "InformationBooklet", "sections")
      .orderedToMany("multiMedias", "MultiMedia", "bookletSection");
}

void describeDatedValue2(graph::ModelBuilder& builder) {
  builder.entity<DatedValue2>("DatedValue", "DatedValue2")
      .attribute("date", AttributeType::Date)
      .attribute("value", AttributeType::String)
      .toOne("patient_allergy", "Patient", "allergies")
      .toOne("patient_barrier", "Patient", "barriers")
      .toOne("patient_diagnosis", "Patient", "diagnoses")
      .toOne("patient_roundingNote", "Patient", "roundingNotes")
      .toOne("patient_symptom", "Patient", "symptoms")
      .toOne("patient_immunization", "Patient", "immunizations")
      .toOne("patient_diet", "Patient", "diets");
}

void describeInformationBooklet2(graph::ModelBuilder& builder) {
  builder.entity<InformationBooklet2>("InformationBooklet", "InformationBooklet2")
      .attribute("bookletId", AttributeType::String)
      .attribute("title", AttributeType::String)
      .attribute("shortDesc", AttributeType::String)
      .attribute("longDesc", AttributeType::String)
      .attribute("provider", AttributeType::String)
      .attribute("created", AttributeType::Date)
      .attribute("lastModified", AttributeType::Date)
      .toMany("recoveryPaths", "RecoveryPath", "informationBooklets")
      .orderedToMany("sections", "BookletSection", "informationBooklet");
}

void describeInstruction2(graph::ModelBuilder& builder) {
  builder.entity<Instruction2>("Instruction", "Instruction2")
      .attribute("shortDesc", AttributeType::String)
      .attribute("status", AttributeType::String)
      .attribute("longDesc", AttributeType::String)
      .attribute("educationURL", AttributeType::String)
      .attribute("imageURL", AttributeType::String)
      .attribute("startDateTime", AttributeType::Date)
      .attribute("frequency", AttributeType::String)
      .attribute("frequencyUnit", AttributeType::Integer32)
      .attribute("createdAt", AttributeType::Date)
      .attribute("completedAt", AttributeType::Date)
      .attribute("needsReminder", AttributeType::Boolean)
      .toMany("actions", "InstructionAction", "instruction")
      .toOne("issuedBy", "StaffMember", "issuedInstructions")
      .toOne("recoveryPath", "RecoveryPath", "instructions")
      .toOne("medication", "Medication", "instruction")
      .toOne("task", "Task", "instruction");
}

void describeInstructionAction2(graph::ModelBuilder& builder) {
  builder.entity<InstructionAction2>("InstructionAction", "InstructionAction2")
      .attribute("type", AttributeType::String)
      .attribute("timeStamp", AttributeType::Date)
      .toOne("instruction", "Instruction", "actions")
      .attribute("comments", AttributeType::String);
}

void describeMedicalTest2(graph::ModelBuilder& builder) {
  builder.entity<MedicalTest2>("MedicalTest", "MedicalTest2")
      .attribute("testId", AttributeType::String)
      .attribute("shortDesc", AttributeType::String)
      .attribute("dateTime", AttributeType::Date)
      .attribute("longDesc", AttributeType::String)
      .attribute("normalMax", AttributeType::Double)
      .attribute("normalMin", AttributeType::Double)
      .attribute("technicianId", AttributeType::String)
      .toOne("recoveryPath", "RecoveryPath", "medicalTests")
      .toMany("results", "TestResult", "test");
}

void describeMedication2(graph::ModelBuilder& builder) {
  builder.entity<Medication2>("Medication", "Medication2")
      .attribute("name", AttributeType::String)
      .attribute("commonName", AttributeType::String)
      .attribute("drugIdentificationNumber", AttributeType::String)
      .attribute("dosage", AttributeType::String)
      .toOne("instruction", "Instruction", "medication")
      .toOne("recoveryPath", "RecoveryPath", "medications");
}

void describeMessage2(graph::ModelBuilder& builder) {
  builder.entity<Message2>("Message", "Message2")
      .attribute("messageId", AttributeType::String)
      .attribute("from", AttributeType::String)
      .attribute("to", AttributeType::String)
      .attribute("body", AttributeType::String)
      .attribute("timeStamp", AttributeType::Date)
      .attribute("category", AttributeType::String)
      .attribute("priority", AttributeType::String)
      .attribute("status", AttributeType::String)
      .attribute("thread", AttributeType::String)
      .toOne("patient", "Patient", "pertainingMessages")
      .toOne("task", "Task", "messages");
}

void describeMultiMedia2(graph::ModelBuilder& builder) {
  builder.entity<MultiMedia2>("MultiMedia", "MultiMedia2")
      .attribute("mimeType", AttributeType::String)
      .attribute("binaryData", AttributeType::Binary)
      .attribute("thumbnailURL", AttributeType::String)
      .attribute("url", AttributeType::String)
      .toOne("bookletSection", "BookletSection", "multiMedias")
      .toOne("note", "Note", "multiMedia")
      .toOne("testResult", "TestResult", "imagery");
}

void describeNote2(graph::ModelBuilder& builder) {
  builder.entity<Note2>("Note", "Note2")
      .attribute("created", AttributeType::Date)
      .attribute("lastModified", AttributeType::Date)
      .attribute("dictionary", AttributeType::Transformable)
      .attribute("number", AttributeType::Double)
      .attribute("text", AttributeType::String)
      .toOne("multiMedia", "MultiMedia", "note")
      .toOne("vital", "Vital", "measurement");
}

void describePatient2(graph::ModelBuilder& builder) {
  builder.entity<Patient2>("Patient", "Patient2")
      .attribute("patientId", AttributeType::String)
      .attribute("firstName", AttributeType::String)
      .attribute("lastName", AttributeType::String)
      .attribute("gender", AttributeType::String)
      .attribute("birthDate", AttributeType::Date)
      .attribute("acuity", AttributeType::String)
      .attribute("ambulatoryStatus", AttributeType::String)
      .attribute("physicianName", AttributeType::String)
      .attribute("status", AttributeType::String)
      .toMany("alerts", "Alert", "patient")
      .toMany("allergies", "DatedValue", "patient_allergy")
      .toMany("barriers", "DatedValue", "patient_barrier")
      .toOne("bed", "Bed", "patient")
      .toMany("diagnoses", "DatedValue", "patient_diagnosis")
      .toMany("diets", "DatedValue", "patient_diet")
      .toMany("immunizations", "DatedValue", "patient_immunization")
      .toMany("pertainingMessages", "Message", "patient")
      .toMany("pertainingTasks", "Task", "pertainingPatient")
      .toOne("recoveryPath", "RecoveryPath", "patient")
      .toOne("room", "Room", "patients")
      .toOne("roundedBy", "StaffMember", "roundingPatients")
      .toMany("roundingNotes", "DatedValue", "patient_roundingNote")
      .toMany("symptoms", "DatedValue", "patient_symptom")
      .toMany("vitals", "Vital", "pateint");
}

void describeRecoveryPath2(graph::ModelBuilder& builder) {
  builder.entity<RecoveryPath2>("RecoveryPath", "RecoveryPath2")
      .toOne("patient", "Patient", "recoveryPath")
      .attribute("admissionDate", AttributeType::Date)
      .attribute("dischargeDate", AttributeType::Date)
      .attribute("dischargeDisposition", AttributeType::String)
      .attribute("dischargeApprovalState", AttributeType::String)
      .orderedToMany("appoitments", "Appoitment", "recoveryPath")
      .toMany("careTeam", "StaffMember", "careMemberIn")
      .toMany("informationBooklets", "InformationBooklet", "recoveryPaths")
      .toMany("instructions", "Instruction", "recoveryPath")
      .toMany("medicalTests", "MedicalTest", "recoveryPath")
      .toMany("medications", "Medication", "recoveryPath");
}

void describeRoom2(graph::ModelBuilder& builder) {
  builder.entity<Room2>("Room", "Room2")
      .attribute("roomNumber", AttributeType::String)
      .attribute("floor", AttributeType::String)
      .attribute("unit", AttributeType::String)
      .toMany("beds", "Bed", "room")
      .toMany("patients", "Patient", "room");
}

void describeShift2(graph::ModelBuilder& builder) {
  builder.entity<Shift2>("Shift", "Shift2")
      .attribute("title", AttributeType::String)
      .attribute("durationinHours", AttributeType::Integer32)
      .attribute("startDateTime", AttributeType::Date)
      .attribute("endDateTime", AttributeType::Date)
      .toOne("staffMember", "StaffMember", "shifts");
}

void describeStaffMember2(graph::ModelBuilder& builder) {
  builder.entity<StaffMember2>("StaffMember", "StaffMember2")
      .attribute("staffId", AttributeType::String)
      .attribute("firstName", AttributeType::String)
      .attribute("lastName", AttributeType::String)
      .attribute("role", AttributeType::String)
      .attribute("phoneNumber", AttributeType::String)
      .attribute("email", AttributeType::String)
      .attribute("faceTimeId", AttributeType::String)
      .attribute("profilePictureURL", AttributeType::String)
      .toMany("analyzedResults", "TestResult", "analyzedBy")
      .toMany("appoitments", "Appoitment", "withStaffMembers")
      .toMany("issuedInstructions", "Instruction", "issuedBy")
      .toMany("careMemberIn", "RecoveryPath", "careTeam")
      .toMany("shifts", "Shift", "staffMember")
      .toMany("tasks", "Task", "owner")
      .toMany("roundingPatients", "Patient", "roundedBy");
}

void describeTask2(graph::ModelBuilder& builder) {
  builder.entity<Task2>("Task", "Task2")
      .attribute("type", AttributeType::String)
      .toOne("instruction", "Instruction", "task")
      .toOne("owner", "StaffMember", "tasks")
      .attribute("group", AttributeType::String)
      .toMany("messages", "Message", "task")
      .toOne("pertainingPatient", "Patient", "pertainingTasks");
}

void describeTestResult2(graph::ModelBuilder& builder) {
  builder.entity<TestResult2>("TestResult", "TestResult2")
      .attribute("abnormal", AttributeType::Boolean)
      .attribute("analysis", AttributeType::String)
      .attribute("timeStamp", AttributeType::Date)
      .toOne("test", "MedicalTest", "results")
      .toOne("analyzedBy", "StaffMember", "analyzedResults")
      .toOne("imagery", "MultiMedia", "testResult");
}

void describeVital2(graph::ModelBuilder& builder) {
  builder.entity<Vital2>("Vital", "Vital2")
      .attribute("type", AttributeType::String)
      .toOne("measurement", "Note", "vital")
      .toOne("pateint", "Patient", "vitals")
      .attribute("comments", AttributeType::String);
}

}  // namespace

std::shared_ptr<const graph::ManagedObjectModel> buildHospitalModel() {
  graph::ModelBuilder builder;
  describeAlert2(builder);
  describeAppoitment2(builder);
  describeBed2(builder);
  describeBookletSection2(builder);
  describeDatedValue2(builder);
  describeInformationBooklet2(builder);
  describeInstruction2(builder);
  describeInstructionAction2(builder);
  describeMedicalTest2(builder);
  describeMedication2(builder);
  describeMessage2(builder);
  describeMultiMedia2(builder);
  describeNote2(builder);
  describePatient2(builder);
  describeRecoveryPath2(builder);
  describeRoom2(builder);
  describeShift2(builder);
  describeStaffMember2(builder);
  describeTask2(builder);
  describeTestResult2(builder);
  describeVital2(builder);
  auto model = builder.build();
  if (!model) {
    platform::Console::log("OrbelinData: the recovery-path model is inconsistent: " +
                           model.error().description());
    return nullptr;
  }
  return *model;
}

bool registerHospitalModel() {
  static std::once_flag once;
  std::call_once(once, [] {
    graph::ModelCatalog::registerBundleModel(graph::kFrameworkBundleIdentifier, kHospitalModelName,
                                             &buildHospitalModel);
  });
  return true;
}

}  // namespace orbelin::model2
