#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "orbelin/archiving/keyed_unarchiver.h"
#include "orbelin/platform/result.h"

// Typed reads of one key, shared by the three watch classes.
namespace orbelin::watch_decoding {

Error missingKey(std::string_view className, std::string_view key, std::string_view kind);

// A required key: the value of its type, or an error (a broken archive keeps
// its own error).
Result<archiving::BoxedNumber> requiredNumber(const archiving::KeyedDecoder& coder,
                                              std::string_view key);
Result<std::string> requiredText(const archiving::KeyedDecoder& coder, std::string_view key);
Result<Date> requiredDate(const archiving::KeyedDecoder& coder, std::string_view key);
Result<bool> requiredBool(const archiving::KeyedDecoder& coder, std::string_view key);

// An optional key: absent when missing, null or of another type; an error
// only when the archive itself is broken.
Result<std::optional<std::string>> optionalText(const archiving::KeyedDecoder& coder,
                                                std::string_view key);
Result<std::optional<Date>> optionalDate(const archiving::KeyedDecoder& coder,
                                         std::string_view key);

}  // namespace orbelin::watch_decoding
