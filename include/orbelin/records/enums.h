#pragma once

#include <cstdint>
#include <optional>
#include <string>

// The code enumerations of the first-generation records. Each case has an
// integer raw value, the number stored in the record; building a case from a
// raw value gives no case when none has that value. Enumerations compare with
// == and hash with std::hash.
namespace orbelin {

enum class TaskType : std::int64_t { Undefined = 0, Discharge = 1, PatientRequest = 2 };

enum class TaskStatus : std::int64_t { Normal = 0, Complete = 1, Forward = 2, Overdue = 3 };

enum class NotificationType : std::int64_t {
  Undefined = 0,
  LabStatus = 1,
  EquipmentAlert = 2,
  HospitalAlert = 3,
};

enum class NotificationStatus : std::int64_t { Undefined = 0, Complete = 1 };

// Where a patient's discharge lies, seen from today 09:41 (Patient::dischargeStatus).
enum class DischargeStatus : std::int64_t { InTheFuture = 0, InToday = 1, InThePast = 2 };

template <typename Enum>
constexpr std::int64_t rawValue(Enum value) {
  return static_cast<std::int64_t>(value);
}

// The largest raw value of each enumeration; its cases are 0 to that.
template <typename Enum>
inline constexpr std::int64_t kLastRawValue = -1;
template <>
inline constexpr std::int64_t kLastRawValue<TaskType> = 2;
template <>
inline constexpr std::int64_t kLastRawValue<TaskStatus> = 3;
template <>
inline constexpr std::int64_t kLastRawValue<NotificationType> = 3;
template <>
inline constexpr std::int64_t kLastRawValue<NotificationStatus> = 1;
template <>
inline constexpr std::int64_t kLastRawValue<DischargeStatus> = 2;

// The case whose raw value is `raw`, or std::nullopt when no case has it:
// fromRawValue<DischargeStatus>(1) is InToday, fromRawValue<DischargeStatus>(3) none.
template <typename Enum>
requires(kLastRawValue<Enum> >= 0) constexpr std::optional<Enum> fromRawValue(std::int64_t raw) {
  if (raw < 0 || raw > kLastRawValue<Enum>) return std::nullopt;
  return static_cast<Enum>(raw);
}

// The display label of a notification type: "Undefined", "Lab Status",
// "Equipment Alert", "Hospital Alert".
std::string label(NotificationType type);

// A colour as red, green, blue and alpha components from 0 to 1.
struct Color {
  double red = 0;
  double green = 0;
  double blue = 0;
  double alpha = 1;
  static constexpr Color white() { return {1, 1, 1, 1}; }
  bool operator==(const Color&) const = default;
};

}  // namespace orbelin
