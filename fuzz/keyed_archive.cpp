// Archives from the watch side are read by the unarchiver. Whatever the
// bytes, reading ends in an object or an error value, never a crash, an
// abort or a hang. An object that was read archives again in both forms
// (unless it holds a text the form cannot store), and reads back with the
// same values; the XML form never holds a character XML 1.0 forbids.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <span>
#include <string>
#include <type_traits>
#include <variant>

#include "orbelin/watch/watch_archive.h"

namespace {

using namespace orbelin;
using archiving::BoxedNumber;
using archiving::PropertyListFormat;

void require(bool condition) {
  if (!condition) std::abort();
}

// Equal and of the same kind; a NaN matches a NaN (it equals nothing).
bool same(const BoxedNumber& a, const BoxedNumber& b) {
  if (a.isInteger() != b.isInteger()) return false;
  if (std::isnan(a.doubleValue()) || std::isnan(b.doubleValue()))
    return std::isnan(a.doubleValue()) && std::isnan(b.doubleValue());
  return a == b;
}

// Dates travel as seconds from 2001, so the far ones may move by rounding.
bool close(Date a, Date b) {
  double difference = std::fabs(secondsSince1970(a) - secondsSince1970(b));
  return difference <= 1e-6 * std::max(1.0, std::fabs(secondsSince1970(a)));
}
bool close(const std::optional<Date>& a, const std::optional<Date>& b) {
  return a.has_value() == b.has_value() && (!a || close(*a, *b));
}

void requireSame(const WatchPatient& a, const WatchPatient& b) {
  require(same(a.id, b.id));
  require(a.firstname == b.firstname && a.lastname == b.lastname &&
          a.roomNumber == b.roomNumber);
}
void requireSame(const WatchTask& a, const WatchTask& b) {
  require(same(a.id, b.id) && same(a.status, b.status) && same(a.type, b.type));
  require(a.delayed == b.delayed);
  require(a.text == b.text && a.statusDescription == b.statusDescription);
  require(close(a.createdDate, b.createdDate) && close(a.dueDate, b.dueDate));
  require(a.patient.has_value() == b.patient.has_value());
  if (a.patient) requireSame(*a.patient, *b.patient);
}
void requireSame(const WatchStaffMember& a, const WatchStaffMember& b) {
  require(a.firstName == b.firstName && a.lastName == b.lastName &&
          a.phoneNumber == b.phoneNumber && a.image == b.image && a.role == b.role);
}

// XML 1.0 allows no C0 control but tab, line feed and carriage return (and
// the writer spells carriage returns as references).
void requireXmlCharacters(const std::vector<std::uint8_t>& data) {
  for (std::uint8_t byte : data) require(byte >= 0x20 || byte == '\t' || byte == '\n');
}

template <typename T>
void checkRoundTrip(const T& object) {
  for (auto format : {PropertyListFormat::binary, PropertyListFormat::xml}) {
    auto data = archiveWatchObject(object, format);
    if (!data) continue;
    if (format == PropertyListFormat::xml) requireXmlCharacters(*data);
    auto again = unarchiveWatchObject(*data);
    require(again && std::holds_alternative<T>(*again));
    const T& back = std::get<T>(*again);
    requireSame(object, back);
    if constexpr (!std::is_same_v<T, WatchStaffMember>) {
      // A NaN id is equal to nothing, itself included.
      if (std::isnan(object.id.doubleValue())) continue;
      require(back == object && back.hashValue() == object.hashValue());
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  auto object = unarchiveWatchObject(std::span<const std::uint8_t>(data, size));
  if (object) std::visit([](const auto& decoded) { checkRoundTrip(decoded); }, *object);
  return 0;
}
