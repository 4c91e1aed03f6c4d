#include <unordered_set>

#include "watch/watch_fixture.h"

namespace orbelin::test {
namespace {

using archiving::BoxedNumber;

TEST_F(WatchTest, TaskCopiesTheRecordAndStaysApartFromIt) {
  Task* record = task(7, 2, 1, true);
  WatchTask watch(*record);
  EXPECT_EQ(watch.id, BoxedNumber(7));
  EXPECT_EQ(watch.status, BoxedNumber(2));
  EXPECT_EQ(watch.type, BoxedNumber(1));
  EXPECT_FALSE(watch.delayed);
  EXPECT_EQ(watch.text, "Check drain");
  EXPECT_EQ(watch.statusDescription, "Waiting");
  EXPECT_EQ(watch.createdDate, utc("2026-06-14T08:00:00Z"));
  EXPECT_EQ(watch.dueDate, utc("2026-06-14T17:30:00Z"));
  ASSERT_TRUE(watch.patient);
  EXPECT_EQ(watch.patient->id, BoxedNumber(42));
  EXPECT_EQ(watch.patient->firstname, "Ada");
  EXPECT_EQ(watch.patient->lastname, "Lovelace");
  EXPECT_EQ(watch.patient->roomNumber, "12B");

  // Changes on either side stay on that side.
  record->setStatus(1);
  record->patient()->setFirstName("Changed");
  EXPECT_EQ(watch.status, BoxedNumber(2));
  EXPECT_EQ(watch.patient->firstname, "Ada");
  watch.text = "Edited";
  EXPECT_EQ(record->text(), "Check drain");

  // Made again after the status changed: still equal, same hash.
  WatchTask later(*record);
  EXPECT_EQ(later, watch);
  EXPECT_EQ(later.hashValue(), watch.hashValue());
  EXPECT_EQ(std::unordered_set<WatchTask>({watch, later}).size(), 1u);
  later.id = 7.0;
  EXPECT_EQ(later, watch);
  EXPECT_EQ(later.hashValue(), watch.hashValue());
  later.id = 8;
  EXPECT_NE(later, watch);
}

TEST_F(WatchTest, OverdueDischargeTaskWithoutPatientRoundTrips) {
  WatchTask watch(*task(31, 3, 1, false));
  EXPECT_EQ(watch.status, BoxedNumber(3));
  EXPECT_EQ(watch.type, BoxedNumber(1));
  EXPECT_FALSE(watch.delayed);
  EXPECT_FALSE(watch.patient);
  for (auto format : {archiving::PropertyListFormat::binary, archiving::PropertyListFormat::xml}) {
    WatchTask back = readBack<WatchTask>(archive(watch, format));
    EXPECT_EQ(back.status, BoxedNumber(3));
    EXPECT_TRUE(back.status.isInteger());
    EXPECT_EQ(back.type, BoxedNumber(1));
    EXPECT_FALSE(back.patient);
    EXPECT_FALSE(back.delayed);
    EXPECT_EQ(back.dueDate, watch.dueDate);
    EXPECT_EQ(back.createdDate, watch.createdDate);
  }
}

TEST_F(WatchTest, TaskRoundTripKeepsAbsenceAndEveryValue) {
  WatchTask watch(*task(-5, 2, 2, true));
  watch.text.reset();
  watch.statusDescription.reset();
  watch.createdDate.reset();
  watch.delayed = true;
  watch.patient->roomNumber.reset();
  watch.patient->firstname = "";
  WatchTask back = readBack<WatchTask>(archive(watch));
  EXPECT_EQ(back.id, BoxedNumber(-5));
  EXPECT_FALSE(back.text);  // absent, not ""
  EXPECT_FALSE(back.statusDescription);
  EXPECT_FALSE(back.createdDate);
  EXPECT_TRUE(back.delayed);
  EXPECT_EQ(back.status, BoxedNumber(2));
  EXPECT_EQ(back.type, BoxedNumber(2));
  ASSERT_TRUE(back.patient);
  EXPECT_EQ(*back.patient, *watch.patient);
  EXPECT_EQ(back.patient->firstname, "");  // present and empty stays so
  EXPECT_FALSE(back.patient->roomNumber);
  EXPECT_EQ(back.patient->lastname, "Lovelace");

  // A floating id stays floating and equal to its integer.
  watch.id = 5.0;
  WatchTask floating = readBack<WatchTask>(archive(watch));
  EXPECT_FALSE(floating.id.isInteger());
  EXPECT_EQ(floating.id, BoxedNumber(5));
}

TEST_F(WatchTest, PatientAndStaffMemberRoundTrip) {
  WatchPatient patientCopy(*patient(9, "Émile", "Zola", ""));
  WatchPatient patientBack = readBack<WatchPatient>(archive(patientCopy));
  EXPECT_EQ(patientBack, patientCopy);
  EXPECT_EQ(patientBack.firstname, "Émile");
  EXPECT_EQ(patientBack.roomNumber, "");

  StaffMember* record = staff("Charge Nurse");
  WatchStaffMember member(*record);
  EXPECT_EQ(member.role, "Charge Nurse");
  record->role()->setLabel("Physician");
  EXPECT_EQ(member.role, "Charge Nurse");
  member.image.reset();
  WatchStaffMember back = readBack<WatchStaffMember>(archive(member));
  EXPECT_EQ(back.firstName, "Grace");
  EXPECT_EQ(back.lastName, "Hopper");
  EXPECT_EQ(back.phoneNumber, "555-0100");
  EXPECT_FALSE(back.image);
  EXPECT_EQ(back.role, "Charge Nurse");

  // Identity only: two copies of one record are two objects.
  WatchStaffMember again(*record);
  EXPECT_NE(&again, &member);
  EXPECT_EQ(again.role, "Physician");

  // A staff member without a role gets an empty label, not a crash.
  record->setRole(nullptr);
  EXPECT_EQ(WatchStaffMember(*record).role, "");
}

TEST_F(WatchTest, TextsTheArchiveCannotHoldFailTheArchiveNotTheProcess) {
  WatchTask watch(*task(1, 0, 0, false));
  watch.text = std::string("a\0b", 3);
  EXPECT_FALSE(archiveWatchObject(watch));
  watch.text = "\xFF";
  EXPECT_FALSE(archiveWatchObject(watch));
}

}  // namespace
}  // namespace orbelin::test
