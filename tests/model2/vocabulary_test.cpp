#include "orbelin/model2/vocabulary.h"

#include <gtest/gtest.h>

#include <cctype>
#include <string>

namespace orbelin::model2 {
namespace {

using AllVocabularies =
    ::testing::Types<AlertCategoryEnum, AlertSeverityEnum, VitalTypeEnum, TaskTypeEnum,
                     TaskGroupEnum, HospitalUnitEnum, DischargeApprovalStateEnum,
                     DischargeDispositionEnum, InstructionFrequencyEnum, InstructionActionTypeEnum,
                     InstructionStatusEnum, AppoitmentStatusEnum, BookletSectionCategoryEnum,
                     PatientStatusEnum, GenderEnum, PatientAcuityEnum, PatientAmbulatoryStatus,
                     MessageCategoryEnum, MessagePriorityEnum, MessageStatusEnum,
                     StaffMemberRoleEnum>;

template <typename T>
class EveryVocabulary : public ::testing::Test {};
TYPED_TEST_SUITE(EveryVocabulary, AllVocabularies);

std::string inCase(std::string_view text, bool upper) {
  std::string out(text);
  for (char& c : out) {
    auto byte = static_cast<unsigned char>(c);
    c = static_cast<char>(upper ? std::toupper(byte) : std::tolower(byte));
  }
  return out;
}

// Guards against a loose match (case folding, trimming, a prefix) reading a
// record's text as the wrong case.
TYPED_TEST(EveryVocabulary, EveryCaseRoundTripsAndOnlyItsExactTextMatches) {
  using E = TypeParam;
  const auto& entries = VocabularyTable<E>::entries;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const E value = static_cast<E>(i);
    const std::string_view text = rawValue(value);
    SCOPED_TRACE(std::string(text));
    EXPECT_EQ(fromRawValue<E>(text), value);
    for (const std::string& altered :
         {inCase(text, true), inCase(text, false), " " + std::string(text), std::string(text) + " ",
          std::string(text) + '\0', std::string(text.substr(0, text.size() - 1))}) {
      if (altered == text) continue;
      EXPECT_FALSE(fromRawValue<E>(altered).has_value()) << '"' << altered << '"';
    }
  }
  EXPECT_FALSE(fromRawValue<E>("").has_value());
}

}  // namespace
}  // namespace orbelin::model2
