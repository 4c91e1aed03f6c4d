#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "orbelin/watch/watch_archive.h"
#include "records/records_fixture.h"
#include "support/test_support.h"

namespace orbelin::test {

inline std::vector<std::uint8_t> readBytes(const std::filesystem::path& path) {
  const std::string text = readFile(path);
  return {text.begin(), text.end()};
}
inline void writeFile(const std::filesystem::path& path, const std::vector<std::uint8_t>& data) {
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
}

// Records made in a fresh context (see RecordsTest), and archive helpers.
class WatchTest : public RecordsTest {
 protected:
  Task* task(std::int64_t id, std::int64_t status, std::int64_t type, bool withPatient) {
    Task* record = Task::create(json("{}"));
    record->setId(id);
    record->setStatus(status);
    record->setType(type);
    record->setText("Check drain");
    record->setStatusDescription("Waiting");
    record->setCreatedDate(utc("2026-06-14T08:00:00Z"));
    record->setDueDate(utc("2026-06-14T17:30:00Z"));
    record->setPatient(withPatient ? patient(42, "Ada", "Lovelace", "12B") : nullptr);
    return record;
  }
  Patient* patient(std::int64_t id, std::string first, std::string last, std::string room) {
    Patient* record = Patient::create(json("{}"));
    record->setId(id);
    record->setFirstName(std::move(first));
    record->setLastName(std::move(last));
    record->setRoomNumber(std::move(room));
    return record;
  }
  StaffMember* staff(const std::string& label) {
    StaffMember* record = StaffMember::create(json("{}"));
    record->setFirstName("Grace");
    record->setLastName("Hopper");
    record->setPhoneNumber("555-0100");
    record->setImage("grace.png");
    record->role()->setLabel(label);
    return record;
  }

  template <typename T>
  static std::vector<std::uint8_t> archive(
      const T& object,
      archiving::PropertyListFormat format = archiving::PropertyListFormat::binary) {
    auto data = archiveWatchObject(object, format);
    EXPECT_TRUE(data) << (data ? "" : data.error().description());
    return data ? *data : std::vector<std::uint8_t>();
  }
  template <typename T>
  static T readBack(const std::vector<std::uint8_t>& data) {
    auto object = unarchiveWatchObject(data);
    EXPECT_TRUE(object) << (object ? "" : object.error().description());
    EXPECT_TRUE(object && std::holds_alternative<T>(*object));
    return std::get<T>(*object);
  }
  // Every field of the two tasks (their equality compares the ids only).
  static void expectSameFields(const WatchTask& got, const WatchTask& want) {
    EXPECT_EQ(got.id, want.id);
    EXPECT_EQ(got.id.isInteger(), want.id.isInteger());
    EXPECT_EQ(got.text, want.text);
    EXPECT_EQ(got.createdDate, want.createdDate);
    EXPECT_EQ(got.dueDate, want.dueDate);
    EXPECT_EQ(got.delayed, want.delayed);
    EXPECT_EQ(got.status, want.status);
    EXPECT_EQ(got.status.isInteger(), want.status.isInteger());
    EXPECT_EQ(got.statusDescription, want.statusDescription);
    EXPECT_EQ(got.type, want.type);
    ASSERT_EQ(got.patient.has_value(), want.patient.has_value());
    if (!want.patient) return;
    EXPECT_EQ(got.patient->id, want.patient->id);
    EXPECT_EQ(got.patient->firstname, want.patient->firstname);
    EXPECT_EQ(got.patient->lastname, want.patient->lastname);
    EXPECT_EQ(got.patient->roomNumber, want.patient->roomNumber);
  }
};

}  // namespace orbelin::test
