// Watch objects made from records, and their round trip through our archives.
#include <unordered_set>

#include "watch/watch_fixture.h"

namespace orbelin::test {
namespace {

using archiving::BoxedNumber;

// A copy shares nothing with its record; equality and hash follow the id's
// value, whatever its kind. (Which field lands where is checked against the
// platform's object graph in the independent reader test.)
TEST_F(WatchTest, TaskStaysApartFromItsRecordAndIsEqualByIdValue) {
  Task* record = task(7, 2, 1, true);
  WatchTask watch(*record);
  record->setStatus(1);
  record->patient()->setFirstName("Changed");
  EXPECT_EQ(watch.status, BoxedNumber(2));
  ASSERT_TRUE(watch.patient);
  EXPECT_EQ(watch.patient->firstname, "Ada");
  watch.text = "Edited";
  EXPECT_EQ(record->text(), "Check drain");

  WatchTask later(*record);
  EXPECT_EQ(std::unordered_set<WatchTask>({watch, later}).size(), 1u);
  later.id = 7.0;
  EXPECT_EQ(later, watch);
  EXPECT_EQ(later.hashValue(), watch.hashValue());
  later.id = 8;
  EXPECT_NE(later, watch);
}

// Both forms keep every value, absent ones absent (not "") and present empty
// ones empty, negative and floating ids of their kind, with or without patient.
TEST_F(WatchTest, TaskRoundTripKeepsAbsenceAndEveryValue) {
  WatchTask full(*task(-5, 2, 2, true));
  full.text.reset();
  full.statusDescription.reset();
  full.createdDate.reset();
  full.delayed = true;
  full.patient->roomNumber.reset();
  full.patient->firstname = "";
  WatchTask floating = full;
  floating.id = 5.0;
  WatchTask alone(*task(31, 3, 1, false));
  for (const WatchTask* watch : {&full, &floating, &alone}) {
    for (auto format : {archiving::PropertyListFormat::binary, archiving::PropertyListFormat::xml})
      expectSameFields(readBack<WatchTask>(archive(*watch, format)), *watch);
  }
}

// Patients keep non-ASCII and empty texts; a staff copy keeps the role it was
// made with, an archive without image reads back without, and no role is "".
TEST_F(WatchTest, PatientAndStaffMemberRoundTrip) {
  WatchPatient patientCopy(*patient(9, "Émile", "Zola", ""));
  WatchPatient patientBack = readBack<WatchPatient>(archive(patientCopy));
  EXPECT_EQ(patientBack, patientCopy);
  EXPECT_EQ(patientBack.firstname, "Émile");
  EXPECT_EQ(patientBack.roomNumber, "");

  StaffMember* record = staff("Charge Nurse");
  WatchStaffMember member(*record);
  record->role()->setLabel("Physician");
  member.image.reset();
  WatchStaffMember back = readBack<WatchStaffMember>(archive(member));
  EXPECT_EQ(back.firstName, "Grace");
  EXPECT_EQ(back.lastName, "Hopper");
  EXPECT_EQ(back.phoneNumber, "555-0100");
  EXPECT_FALSE(back.image);
  EXPECT_EQ(back.role, "Charge Nurse");
  EXPECT_EQ(WatchStaffMember(*record).role, "Physician");
  record->setRole(nullptr);
  EXPECT_EQ(WatchStaffMember(*record).role, "");
}

}  // namespace
}  // namespace orbelin::test
