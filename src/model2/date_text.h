#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "orbelin/platform/date.h"

// The text form of date attributes in the dictionary form
// ("yyyy-MM-dd HH:mm:ss", en_US_POSIX, proleptic Gregorian) in the device's
// time zone, the one DateUtils uses (setTimeZone, else the process's zone).
//
// Thread safety: any thread; each thread keeps its own ICU calendar.
namespace orbelin::model2::detail {

// Room for the text of any date formatDateTime() can write.
inline constexpr std::size_t kDateTimeTextCapacity = 48;

// Whole seconds; fractions are dropped.
std::optional<std::string> formatDateTime(Date date);
// The same text written into `text`: its length, or 0 when the date has none.
std::size_t formatDateTime(Date date, char (&text)[kDateTimeTextCapacity]);
// Strict: the whole text must match the format, with a four-digit year and
// real field values ("2015-02-30 ...", "2015-10-01", a local time skipped by
// a daylight-saving change all fail).
OptionalDate parseDateTime(std::string_view text);

}  // namespace orbelin::model2::detail
