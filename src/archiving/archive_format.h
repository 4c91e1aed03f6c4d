#pragma once

#include <cstdint>

// The names and numbers of the platform's keyed-archive layout, shared by the
// writer and the reader.
namespace orbelin::archiving::format {

inline constexpr const char* kArchiver = "$archiver";
inline constexpr const char* kArchiverName = "NSKeyedArchiver";
inline constexpr const char* kVersion = "$version";
inline constexpr std::uint64_t kVersionNumber = 100000;
inline constexpr const char* kTop = "$top";
inline constexpr const char* kRoot = "root";
inline constexpr const char* kObjects = "$objects";
inline constexpr const char* kNull = "$null";
inline constexpr const char* kClass = "$class";
inline constexpr const char* kClassName = "$classname";
inline constexpr const char* kClasses = "$classes";
inline constexpr const char* kRootClass = "NSObject";
inline constexpr const char* kDateClass = "NSDate";
inline constexpr const char* kTime = "NS.time";
inline constexpr const char* kStringValue = "NS.string";
// How XML property lists spell a UID.
inline constexpr const char* kXmlUid = "CF$UID";
// The platform's dates count seconds from 2001-01-01 00:00:00 UTC.
inline constexpr double kSecondsFrom1970To2001 = 978307200.0;

}  // namespace orbelin::archiving::format
