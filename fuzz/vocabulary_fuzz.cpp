// Texts from stored records and service replies are turned back into
// vocabulary cases. Whatever the bytes, a conversion either finds no case or
// finds the one case whose text is exactly the input.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "orbelin/model2/vocabulary.h"

namespace {

using namespace orbelin::model2;

template <typename E>
void check(std::string_view text) {
  auto found = fromRawValue<E>(text);
  if (!found) return;
  if (rawValue(*found) != text) std::abort();
  auto ordinal = hashValue(*found);
  if (ordinal < 0 || static_cast<std::size_t>(ordinal) >= VocabularyTable<E>::entries.size())
    std::abort();
}

template <typename... E>
void checkAll(std::string_view text) {
  (check<E>(text), ...);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view text(reinterpret_cast<const char*>(data), size);
  checkAll<AlertCategoryEnum, AlertSeverityEnum, VitalTypeEnum, TaskTypeEnum, TaskGroupEnum,
           HospitalUnitEnum, DischargeApprovalStateEnum, DischargeDispositionEnum,
           InstructionFrequencyEnum, InstructionActionTypeEnum, InstructionStatusEnum,
           AppoitmentStatusEnum, BookletSectionCategoryEnum, PatientStatusEnum, GenderEnum,
           PatientAcuityEnum, PatientAmbulatoryStatus, MessageCategoryEnum, MessagePriorityEnum,
           MessageStatusEnum, StaffMemberRoleEnum>(text);
  return 0;
}
