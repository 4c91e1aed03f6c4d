// Every vocabulary's table lists its cases in declaration order, each text
// once; a table edited out of step with its enumeration fails the build here
// rather than at the first lookup.
#include "orbelin/model2/vocabulary.h"

namespace orbelin::model2 {

static_assert(isWellFormedVocabulary<AlertCategoryEnum>());
static_assert(isWellFormedVocabulary<AlertSeverityEnum>());
static_assert(isWellFormedVocabulary<VitalTypeEnum>());
static_assert(isWellFormedVocabulary<TaskTypeEnum>());
static_assert(isWellFormedVocabulary<TaskGroupEnum>());
static_assert(isWellFormedVocabulary<HospitalUnitEnum>());
static_assert(isWellFormedVocabulary<DischargeApprovalStateEnum>());
static_assert(isWellFormedVocabulary<DischargeDispositionEnum>());
static_assert(isWellFormedVocabulary<InstructionFrequencyEnum>());
static_assert(isWellFormedVocabulary<InstructionActionTypeEnum>());
static_assert(isWellFormedVocabulary<InstructionStatusEnum>());
static_assert(isWellFormedVocabulary<AppoitmentStatusEnum>());
static_assert(isWellFormedVocabulary<BookletSectionCategoryEnum>());
static_assert(isWellFormedVocabulary<PatientStatusEnum>());
static_assert(isWellFormedVocabulary<GenderEnum>());
static_assert(isWellFormedVocabulary<PatientAcuityEnum>());
static_assert(isWellFormedVocabulary<PatientAmbulatoryStatus>());
static_assert(isWellFormedVocabulary<MessageCategoryEnum>());
static_assert(isWellFormedVocabulary<MessagePriorityEnum>());
static_assert(isWellFormedVocabulary<MessageStatusEnum>());
static_assert(isWellFormedVocabulary<StaffMemberRoleEnum>());

}  // namespace orbelin::model2
