#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include <boost/json/value.hpp>

namespace orbelin::text {

// Parses one JSON document (any top-level kind), reading every number
// correctly rounded: the double nearest to the decimal text, as
// std::from_chars reads it, so a value read and written back with
// appendJsonNumber() keeps its text. Integers that fit stay int64 or uint64.
//
// Numbers beyond a double's range: a magnitude too large for a double
// ("1e309", "-2e400") makes the text invalid, so no parsed document ever holds
// an infinity or a NaN and everything read can be written back. A magnitude
// too small ("1e-400") reads as zero of the same sign, as from_chars rounds it;
// "0e309" is zero.
//
// Nesting deeper than `maxDepth` is refused. Absent for text that is not
// exactly one JSON value (trailing text included); `problem`, when given,
// receives a plain description. The document is made in `storage` (the
// default: the heap). Never throws, never aborts; any thread.
std::optional<boost::json::value> readJsonValue(std::string_view text, std::size_t maxDepth,
                                                std::string* problem = nullptr,
                                                boost::json::storage_ptr storage = {});

// A storage for a document parsed from `text` once, read, and dropped whole
// (a reply): one arena of a few large blocks, sized from the text, instead of
// one heap block per value; freeing the document frees the blocks. A value
// kept longer should be copied out to the heap (graph::Value does).
boost::json::storage_ptr documentArena(std::string_view text);

}  // namespace orbelin::text
