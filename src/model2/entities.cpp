#include "orbelin/model2/entities.h"

#include "model2/entity_definition.h"
#include "orbelin/platform/console.h"

// The twenty-one entity classes, each defined from its property table; here
// only what is not a property: the service identifier and the relations left
// out of the dictionary form.
namespace orbelin::model2 {

#define ORBELIN_MODEL2_SELF Alert2
ORBELIN_MODEL2_DEFINE_ENTITY(Alert)
ORBELIN_MODEL2_DEFINE_IDENTIFIER(alertId)
ORBELIN_MODEL2_DEFINE_IGNORED_RELATIONS("patient")
#undef ORBELIN_MODEL2_SELF

#define ORBELIN_MODEL2_SELF Appoitment2
ORBELIN_MODEL2_DEFINE_ENTITY(Appoitment)
ORBELIN_MODEL2_DEFINE_IGNORED_RELATIONS("recoveryPath")
#undef ORBELIN_MODEL2_SELF

#define ORBELIN_MODEL2_SELF Bed2
ORBELIN_MODEL2_DEFINE_ENTITY(Bed)
ORBELIN_MODEL2_DEFINE_IDENTIFIER(bedNumber)
#undef ORBELIN_MODEL2_SELF

#define ORBELIN_MODEL2_SELF BookletSection2
ORBELIN_MODEL2_DEFINE_ENTITY(BookletSection)
ORBELIN_MODEL2_DEFINE_IGNORED_RELATIONS("informationBooklet")
#undef ORBELIN_MODEL2_SELF

#define ORBELIN_MODEL2_SELF DatedValue2
ORBELIN_MODEL2_DEFINE_ENTITY(DatedValue)
ORBELIN_MODEL2_DEFINE_IGNORED_RELATIONS("patient_allergy", "patient_barrier", "patient_diagnosis",
                                        "patient_roundingNote", "patient_symptom",
                                        "patient_immunization", "patient_diet")
#undef ORBELIN_MODEL2_SELF

#define ORBELIN_MODEL2_SELF InformationBooklet2
ORBELIN_MODEL2_DEFINE_ENTITY(InformationBooklet)
ORBELIN_MODEL2_DEFINE_IDENTIFIER(bookletId)
ORBELIN_MODEL2_DEFINE_IGNORED_RELATIONS("recoveryPaths")
#undef ORBELIN_MODEL2_SELF

#define ORBELIN_MODEL2_SELF Instruction2
ORBELIN_MODEL2_DEFINE_ENTITY(Instruction)
ORBELIN_MODEL2_DEFINE_IGNORED_RELATIONS("recoveryPath", "medication", "task")
#undef ORBELIN_MODEL2_SELF

#define ORBELIN_MODEL2_SELF InstructionAction2
ORBELIN_MODEL2_DEFINE_ENTITY(InstructionAction)
ORBELIN_MODEL2_DEFINE_IGNORED_RELATIONS("instruction")
#undef ORBELIN_MODEL2_SELF

#define ORBELIN_MODEL2_SELF MedicalTest2
ORBELIN_MODEL2_DEFINE_ENTITY(MedicalTest)
ORBELIN_MODEL2_DEFINE_IDENTIFIER(testId)
ORBELIN_MODEL2_DEFINE_IGNORED_RELATIONS("recoveryPath")
#undef ORBELIN_MODEL2_SELF

#define ORBELIN_MODEL2_SELF Medication2
ORBELIN_MODEL2_DEFINE_ENTITY(Medication)
ORBELIN_MODEL2_DEFINE_IGNORED_RELATIONS("recoveryPath")
#undef ORBELIN_MODEL2_SELF

#define ORBELIN_MODEL2_SELF Message2
ORBELIN_MODEL2_DEFINE_ENTITY(Message)
ORBELIN_MODEL2_DEFINE_IDENTIFIER(messageId)
ORBELIN_MODEL2_DEFINE_IGNORED_RELATIONS("patient", "task")
#undef ORBELIN_MODEL2_SELF

#define ORBELIN_MODEL2_SELF MultiMedia2
ORBELIN_MODEL2_DEFINE_ENTITY(MultiMedia)
ORBELIN_MODEL2_DEFINE_IGNORED_RELATIONS("bookletSection", "note", "testResult")
#undef ORBELIN_MODEL2_SELF

#define ORBELIN_MODEL2_SELF Note2
ORBELIN_MODEL2_DEFINE_ENTITY(Note)
ORBELIN_MODEL2_DEFINE_IGNORED_RELATIONS("multiMedia", "vital")
#undef ORBELIN_MODEL2_SELF

#define ORBELIN_MODEL2_SELF Patient2
ORBELIN_MODEL2_DEFINE_ENTITY(Patient)
ORBELIN_MODEL2_DEFINE_IDENTIFIER(patientId)
#undef ORBELIN_MODEL2_SELF

#define ORBELIN_MODEL2_SELF RecoveryPath2
ORBELIN_MODEL2_DEFINE_ENTITY(RecoveryPath)
ORBELIN_MODEL2_DEFINE_IGNORED_RELATIONS("patient")
#undef ORBELIN_MODEL2_SELF

#define ORBELIN_MODEL2_SELF Room2
ORBELIN_MODEL2_DEFINE_ENTITY(Room)
ORBELIN_MODEL2_DEFINE_IDENTIFIER(roomNumber)
#undef ORBELIN_MODEL2_SELF

#define ORBELIN_MODEL2_SELF Shift2
ORBELIN_MODEL2_DEFINE_ENTITY(Shift)
ORBELIN_MODEL2_DEFINE_IGNORED_RELATIONS("staffMember")
#undef ORBELIN_MODEL2_SELF

#define ORBELIN_MODEL2_SELF StaffMember2
ORBELIN_MODEL2_DEFINE_ENTITY(StaffMember)
ORBELIN_MODEL2_DEFINE_IDENTIFIER(staffId)
ORBELIN_MODEL2_DEFINE_IGNORED_RELATIONS("analyzedResults", "appoitments", "issuedInstructions",
                                        "careMemberIn")
#undef ORBELIN_MODEL2_SELF

#define ORBELIN_MODEL2_SELF Task2
ORBELIN_MODEL2_DEFINE_ENTITY(Task)
#undef ORBELIN_MODEL2_SELF

#define ORBELIN_MODEL2_SELF TestResult2
ORBELIN_MODEL2_DEFINE_ENTITY(TestResult)
ORBELIN_MODEL2_DEFINE_IGNORED_RELATIONS("test")
#undef ORBELIN_MODEL2_SELF

#define ORBELIN_MODEL2_SELF Vital2
ORBELIN_MODEL2_DEFINE_ENTITY(Vital)
ORBELIN_MODEL2_DEFINE_IGNORED_RELATIONS("pateint")
#undef ORBELIN_MODEL2_SELF

namespace detail {

void describeEntities(graph::ModelBuilder& builder) {
#define ORBELIN_MODEL2_DESCRIBE_ENTITY_(Entity) Slots<Entity##2>::describe(builder);
  ORBELIN_MODEL2_FOR_EACH_ENTITY(ORBELIN_MODEL2_DESCRIBE_ENTITY_)
#undef ORBELIN_MODEL2_DESCRIBE_ENTITY_
}

bool slotsMatch(const graph::ManagedObjectModel& model) {
  bool all = true;
  for (const auto& entity : model.entities()) {
    auto prototype = entity->makeObject();
#define ORBELIN_MODEL2_MATCH_ENTITY_(Entity)                                               \
  if (dynamic_cast<Entity##2 *>(prototype.get()) && !Slots<Entity##2>::matches(*entity)) { \
    platform::Console::log("OrbelinData: entity " + entity->name() +                       \
                           " does not match the table of class " #Entity "2");             \
    all = false;                                                                           \
  }
    ORBELIN_MODEL2_FOR_EACH_ENTITY(ORBELIN_MODEL2_MATCH_ENTITY_)
#undef ORBELIN_MODEL2_MATCH_ENTITY_
  }
  return all;
}

}  // namespace detail
}  // namespace orbelin::model2
