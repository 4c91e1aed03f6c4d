#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>

// Small conversions between dictionaries, JSON text, bytes and resource names,
// used for request bodies, replies delivered as text, and local resource names.
//
// Every function is a free function without shared state (localized() aside,
// see localized.h), so all of them may be called from any thread.
// None of them throws; a conversion that cannot be made yields an absent value.
namespace orbelin::text {

using Bytes = std::vector<std::uint8_t>;

// Nesting deeper than this is refused by json(), so a hostile reply cannot
// exhaust the stack of code that walks the resulting dictionary recursively.
inline constexpr std::size_t kMaxJsonDepth = 256;

// How every writer of this layer spells a number: integers as integers; a
// double with the shortest digits that read back as the same double, in plain
// form when 1e-7 < |x| < 1e21 (100000, 71.5, 0.0001, 0.000001) and in exponent
// form otherwise (1e+21, 1.5e-7): the rule of JavaScript's Number-to-String.
// A whole double is written without a fraction, so 3.0 reads back as the
// integer 3. Negative zero is "-0". REQUIRES: `number` is finite.
void appendJsonNumber(std::string& out, double number);

// Compact JSON text of a dictionary: no spaces, no newlines, members in the
// dictionary's own order. Numbers as appendJsonNumber() writes them. Strings escape only what JSON
// requires ('"', '\\' and control characters; '/' is left as is). Absent when the dictionary holds
// something JSON cannot represent: a NaN or infinite number, or a string that
// is not valid UTF-8; also absent for nesting deeper than 4 * kMaxJsonDepth,
// which no parsed reply reaches, rather than risking the stack.
std::optional<std::string> jsonString(const boost::json::object& dictionary);

// The same writer for any value (a bare array, number, ...).
std::optional<std::string> jsonString(const boost::json::value& value);

// Pretty-printed JSON text: two-space indentation, one member per line and
// "key" : value separators; empty containers stay "{}" and "[]". Same number
// and string rules and the same absent cases as jsonString().
std::optional<std::string> prettyJsonString(const boost::json::value& value);

// Parses UTF-8 JSON text into a dictionary (a boost::json::object is mutable,
// nested containers included). Absent for empty input, for text that is not
// valid JSON, for a top-level value that is not an object, and for nesting
// deeper than kMaxJsonDepth. Never aborts. The dictionary is made in
// `storage` (the default: the heap).
std::optional<boost::json::object> json(std::string_view text,
                                        boost::json::storage_ptr storage = {});
std::optional<boost::json::object> json(std::span<const std::uint8_t> bytes);

// The string's UTF-8 bytes; absent when the string is not valid UTF-8 (a C++
// string may hold any bytes, unlike the platform's strings).
std::optional<Bytes> data(std::string_view string);

// The string with each of '&', '+', '=', '?' replaced by '_' (empty pieces
// stay, so "a&&b" gives "a__b"): the name of a local resource for a path.
std::string queryToFile(std::string_view string);

}  // namespace orbelin::text
