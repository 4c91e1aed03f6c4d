#include "orbelin/model2/vocabulary.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <string>
#include <unordered_set>

namespace orbelin::model2 {
namespace {

// Every vocabulary, with the number of cases the service knows for it.
template <typename E, std::size_t Count>
struct Case {
  using Enum = E;
  static constexpr std::size_t kCount = Count;
};
using AllVocabularies = ::testing::Types<
    Case<AlertCategoryEnum, 3>, Case<AlertSeverityEnum, 3>, Case<VitalTypeEnum, 8>,
    Case<TaskTypeEnum, 1>, Case<TaskGroupEnum, 1>, Case<HospitalUnitEnum, 1>,
    Case<DischargeApprovalStateEnum, 2>, Case<DischargeDispositionEnum, 3>,
    Case<InstructionFrequencyEnum, 4>, Case<InstructionActionTypeEnum, 2>,
    Case<InstructionStatusEnum, 6>, Case<AppoitmentStatusEnum, 5>,
    Case<BookletSectionCategoryEnum, 18>, Case<PatientStatusEnum, 4>, Case<GenderEnum, 3>,
    Case<PatientAcuityEnum, 1>, Case<PatientAmbulatoryStatus, 4>, Case<MessageCategoryEnum, 5>,
    Case<MessagePriorityEnum, 3>, Case<MessageStatusEnum, 5>, Case<StaffMemberRoleEnum, 11>>;

template <typename T>
class EveryVocabulary : public ::testing::Test {};
TYPED_TEST_SUITE(EveryVocabulary, AllVocabularies);

std::string upper(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return out;
}
std::string lower(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return out;
}

// Each case converts back to itself, hashes to its ordinal, and no altered
// form of its text (capitals, lower case, a space either side, a trailing
// NUL, a prefix) is taken for it or for any other case.
TYPED_TEST(EveryVocabulary, EveryCaseRoundTripsAndOnlyItsExactTextMatches) {
  using E = typename TypeParam::Enum;
  const auto& entries = VocabularyTable<E>::entries;
  ASSERT_EQ(entries.size(), TypeParam::kCount);
  std::unordered_set<E> seen;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const E value = static_cast<E>(i);
    const std::string_view text = rawValue(value);
    SCOPED_TRACE(std::string(text));
    EXPECT_FALSE(text.empty());
    EXPECT_EQ(fromRawValue<E>(text), value);
    EXPECT_EQ(hashValue(value), static_cast<std::ptrdiff_t>(i));
    EXPECT_EQ(std::hash<E>()(value), i);
    EXPECT_TRUE(seen.insert(value).second);
    for (const std::string& altered :
         {upper(text), lower(text), " " + std::string(text), std::string(text) + " ",
          std::string(text) + '\0', std::string(text.substr(0, text.size() - 1))}) {
      if (altered == text) continue;
      EXPECT_FALSE(fromRawValue<E>(altered).has_value()) << '"' << altered << '"';
    }
  }
  EXPECT_FALSE(fromRawValue<E>("").has_value());
  EXPECT_EQ(seen.size(), entries.size());
}

TEST(Vocabulary, SpellingsAreKeptLetterForLetter) {
  EXPECT_EQ(fromRawValue<AlertSeverityEnum>("High"), AlertSeverityEnum::High);
  EXPECT_EQ(fromRawValue<VitalTypeEnum>("Repiratory Rate"), VitalTypeEnum::RepiratoryRate);
  EXPECT_FALSE(fromRawValue<VitalTypeEnum>("Respiratory Rate"));
  EXPECT_FALSE(fromRawValue<VitalTypeEnum>("RepiratoryRate")) << "a case name is not a text";
  EXPECT_EQ(fromRawValue<VitalTypeEnum>("Body Temparture"), VitalTypeEnum::BodyTemparture);
  EXPECT_FALSE(fromRawValue<VitalTypeEnum>("Body Temperature"));
  EXPECT_EQ(fromRawValue<StaffMemberRoleEnum>("Dietition"), StaffMemberRoleEnum::Dietition);
  EXPECT_FALSE(fromRawValue<StaffMemberRoleEnum>("Dietitian"));
  EXPECT_EQ(rawValue(StaffMemberRoleEnum::ChargeNurse), "Charge Nurse");
  EXPECT_EQ(rawValue(StaffMemberRoleEnum::SocialWorker), "Social Worker");
  EXPECT_EQ(rawValue(PatientStatusEnum::ReadyToDischarge), "Ready To Discharge");
}

TEST(Vocabulary, SpacesAreNeitherAddedNorFolded) {
  EXPECT_EQ(fromRawValue<BookletSectionCategoryEnum>("Operating Room"),
            BookletSectionCategoryEnum::OperatingRoom);
  for (const char* spaced : {"Contact Us", "Self Care", "Life Style", "Pain Management"}) {
    ASSERT_TRUE(fromRawValue<BookletSectionCategoryEnum>(spaced)) << spaced;
    std::string joined(spaced);
    joined.erase(std::remove(joined.begin(), joined.end(), ' '), joined.end());
    EXPECT_FALSE(fromRawValue<BookletSectionCategoryEnum>(joined)) << joined;
  }
  EXPECT_FALSE(fromRawValue<BookletSectionCategoryEnum>("OperatingRoom"));
  EXPECT_FALSE(fromRawValue<BookletSectionCategoryEnum>("Operating  Room"));
  EXPECT_FALSE(fromRawValue<BookletSectionCategoryEnum>("Operating_Room"));
  EXPECT_EQ(fromRawValue<PatientAmbulatoryStatus>("WalkingWithAssistance"),
            PatientAmbulatoryStatus::WalkingWithAssistance);
  EXPECT_FALSE(fromRawValue<PatientAmbulatoryStatus>("Walking With Assistance"));
  EXPECT_EQ(fromRawValue<DischargeDispositionEnum>("NursingHome"),
            DischargeDispositionEnum::NursingHome);
  EXPECT_FALSE(fromRawValue<DischargeDispositionEnum>("Nursing Home"));
}

TEST(Vocabulary, PlaceholderCasesStoreTheirQuestions) {
  EXPECT_EQ(fromRawValue<TaskTypeEnum>("flush it out"), TaskTypeEnum::FMTODO);
  EXPECT_FALSE(fromRawValue<TaskTypeEnum>("FMTODO"));
  EXPECT_FALSE(fromRawValue<TaskTypeEnum>("flush this out"));
  EXPECT_EQ(fromRawValue<PatientAcuityEnum>("flush this out"), PatientAcuityEnum::FMTODO);
  EXPECT_FALSE(fromRawValue<PatientAcuityEnum>("flush it out"));
  const std::string question = "is it needed? or shall it be left as free form text?";
  EXPECT_EQ(fromRawValue<TaskGroupEnum>(question), TaskGroupEnum::FMTODO);
  EXPECT_EQ(fromRawValue<HospitalUnitEnum>(question), HospitalUnitEnum::FMTODO);
  EXPECT_FALSE(fromRawValue<HospitalUnitEnum>(question.substr(0, question.size() - 1)));
  EXPECT_EQ(rawValue(AlertCategoryEnum::FMTODO), "what else?");
  EXPECT_EQ(hashValue(AlertCategoryEnum::FMTODO), 2);
  EXPECT_EQ(hashValue(TaskTypeEnum::FMTODO), 0);
}

TEST(Vocabulary, SharedTextsConvertIndependentlyPerVocabulary) {
  EXPECT_EQ(fromRawValue<DischargeApprovalStateEnum>("Pending"),
            DischargeApprovalStateEnum::Pending);
  EXPECT_EQ(fromRawValue<InstructionStatusEnum>("Pending"), InstructionStatusEnum::Pending);
  EXPECT_EQ(fromRawValue<AppoitmentStatusEnum>("Pending"), AppoitmentStatusEnum::Pending);
  EXPECT_EQ(hashValue(DischargeApprovalStateEnum::Pending), 1);
  EXPECT_EQ(hashValue(InstructionStatusEnum::Pending), 1);
  EXPECT_EQ(hashValue(AppoitmentStatusEnum::Pending), 1);

  EXPECT_EQ(hashValue(*fromRawValue<DischargeDispositionEnum>("Other")), 2);
  EXPECT_EQ(hashValue(*fromRawValue<BookletSectionCategoryEnum>("Other")), 17);
  EXPECT_EQ(hashValue(*fromRawValue<AlertSeverityEnum>("Low")), 2);
  EXPECT_EQ(hashValue(*fromRawValue<MessagePriorityEnum>("Low")), 2);
  EXPECT_EQ(hashValue(*fromRawValue<AppoitmentStatusEnum>("Complete")), 3);
  EXPECT_EQ(hashValue(*fromRawValue<InstructionActionTypeEnum>("Complete")), 0);
  EXPECT_EQ(hashValue(*fromRawValue<MessageCategoryEnum>("Undefined")), 4);
  EXPECT_EQ(hashValue(*fromRawValue<MessageStatusEnum>("Undefined")), 4);
  EXPECT_EQ(hashValue(*fromRawValue<InstructionStatusEnum>("Approved")), 4);
  EXPECT_EQ(hashValue(*fromRawValue<DischargeApprovalStateEnum>("Approved")), 0);
  // A text of one vocabulary is not a case of another.
  EXPECT_FALSE(fromRawValue<AlertSeverityEnum>("Pending"));
  EXPECT_FALSE(fromRawValue<MessageCategoryEnum>("Other"));
}

TEST(Vocabulary, OrdinalsHashesAndEquality) {
  EXPECT_EQ(hashValue(StaffMemberRoleEnum::Pharmacist), 10);
  EXPECT_EQ(hashValue(BookletSectionCategoryEnum::Other), 17);
  EXPECT_EQ(hashValue(VitalTypeEnum::BloodPressure), 7);
  EXPECT_EQ(hashValue(GenderEnum::Male), 0);
  EXPECT_EQ(std::hash<StaffMemberRoleEnum>()(StaffMemberRoleEnum::Pharmacist), 10u);
  EXPECT_TRUE(GenderEnum::Female == *fromRawValue<GenderEnum>("Female"));
  EXPECT_FALSE(GenderEnum::Female == GenderEnum::Unspecified);
  std::unordered_set<MessageStatusEnum> statuses{MessageStatusEnum::Draft, MessageStatusEnum::Draft,
                                                 MessageStatusEnum::Failed};
  EXPECT_EQ(statuses.size(), 2u);
  static_assert(rawValue(MessagePriorityEnum::Normal) == "Normal");
  static_assert(fromRawValue<InstructionFrequencyEnum>("MealTime") ==
                InstructionFrequencyEnum::MealTime);
}

}  // namespace
}  // namespace orbelin::model2
