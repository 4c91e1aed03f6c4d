#include "watch/watch_decoding.h"

#include "orbelin/watch/watch_archive.h"

namespace orbelin::watch_decoding {
namespace {

using archiving::DecodedValue;

template <typename T, typename Read>
Result<T> required(const archiving::KeyedDecoder& coder, std::string_view key,
                   std::string_view kind, Read read) {
  auto value = coder.decodeObjectForKey(key);
  if (!value) return value.error();
  auto typed = read(*value);
  if (!typed) return missingKey(coder.className(), key, kind);
  return *typed;
}

template <typename T, typename Read>
Result<std::optional<T>> optional(const archiving::KeyedDecoder& coder, std::string_view key,
                                  Read read) {
  auto value = coder.decodeObjectForKey(key);
  if (!value) return value.error();
  return read(*value);
}

}  // namespace

Error missingKey(std::string_view className, std::string_view key, std::string_view kind) {
  return Error(error_domain::kPlatform, kWatchMissingKeyCode,
               std::string(className) + " needs " + std::string(kind) + " under \"" +
                   std::string(key) + "\".");
}

Result<archiving::BoxedNumber> requiredNumber(const archiving::KeyedDecoder& coder,
                                              std::string_view key) {
  return required<archiving::BoxedNumber>(coder, key, "a number",
                                          [](const DecodedValue& v) { return v.asNumber(); });
}
Result<std::string> requiredText(const archiving::KeyedDecoder& coder, std::string_view key) {
  return required<std::string>(coder, key, "a text",
                               [](const DecodedValue& v) { return v.asText(); });
}
Result<Date> requiredDate(const archiving::KeyedDecoder& coder, std::string_view key) {
  return required<Date>(coder, key, "a date", [](const DecodedValue& v) { return v.asDate(); });
}
Result<bool> requiredBool(const archiving::KeyedDecoder& coder, std::string_view key) {
  return required<bool>(coder, key, "a truth value",
                        [](const DecodedValue& v) { return v.asBoolean(); });
}
Result<std::optional<std::string>> optionalText(const archiving::KeyedDecoder& coder,
                                                std::string_view key) {
  return optional<std::string>(coder, key, [](const DecodedValue& v) { return v.asText(); });
}
Result<std::optional<Date>> optionalDate(const archiving::KeyedDecoder& coder,
                                         std::string_view key) {
  return optional<Date>(coder, key, [](const DecodedValue& v) { return v.asDate(); });
}

}  // namespace orbelin::watch_decoding
