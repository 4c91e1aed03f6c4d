#include "orbelin/archiving/keyed_archiver.h"

#include <plist/plist.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "archiving/archive_format.h"
#include "platform/utf8.h"

namespace orbelin::archiving {
namespace {

plist_t node(void* pointer) {
  return static_cast<plist_t>(pointer);
}

enum class TextFit { anywhere, binaryOnly, nowhere };

// Well-formed UTF-8 without NUL is what libplist can store and read back
// intact. XML 1.0 has no spelling at all (raw or as a character reference)
// for the other C0 controls and for U+FFFE and U+FFFF, so such a text fits
// only the binary form.
TextFit textFit(std::string_view text) {
  TextFit fit = TextFit::anywhere;
  for (std::size_t i = 0; i < text.size();) {
    std::size_t length = platform::utf8SequenceLength(text, i);
    if (length == 0 || text[i] == '\0') return TextFit::nowhere;
    char32_t code = platform::utf8CodePoint(text, i, length);
    bool xmlCharacter = code >= 0x20 ? code != 0xFFFE && code != 0xFFFF
                                     : code == '\t' || code == '\n' || code == '\r';
    if (!xmlCharacter) fit = TextFit::binaryOnly;
    i += length;
  }
  return fit;
}

// libplist writes a carriage return raw; an XML reader would hand it back as
// a line feed. Its own XML writer never emits one outside text content, so
// every carriage return in the output belongs to a text.
std::vector<std::uint8_t> escapeCarriageReturns(const char* data, std::uint32_t size) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(size);
  static constexpr std::string_view kReference = "&#13;";
  for (std::uint32_t i = 0; i < size; ++i) {
    if (data[i] == '\r')
      bytes.insert(bytes.end(), kReference.begin(), kReference.end());
    else
      bytes.push_back(static_cast<std::uint8_t>(data[i]));
  }
  return bytes;
}

}  // namespace

void KeyedEncoder::setReference(std::string_view key, std::uint64_t uid) {
  plist_dict_set_item(node(dictionary_), std::string(key).c_str(), plist_new_uid(uid));
}

void KeyedEncoder::encodeNull(std::string_view key) {
  setReference(key, 0);
}

void KeyedEncoder::encodeNumber(const BoxedNumber& value, std::string_view key) {
  setReference(key, archiver_.numberEntry(value));
}

void KeyedEncoder::encodeNumber(const std::optional<BoxedNumber>& value, std::string_view key) {
  if (!value) return encodeNull(key);
  encodeNumber(*value, key);
}

void KeyedEncoder::encodeBool(bool value, std::string_view key) {
  setReference(key, archiver_.boolEntry(value));
}

void KeyedEncoder::encodeText(const std::optional<std::string>& value, std::string_view key) {
  if (!value) return encodeNull(key);
  setReference(key, archiver_.textEntry(*value));
}

void KeyedEncoder::encodeDate(const std::optional<Date>& value, std::string_view key) {
  if (!value) return encodeNull(key);
  setReference(key, archiver_.dateEntry(*value));
}

KeyedArchiver::KeyedArchiver() : objects_(plist_new_array()), top_(plist_new_dict()) {
  plist_array_append_item(node(objects_), plist_new_string(format::kNull));
}

KeyedArchiver::~KeyedArchiver() {
  // objects_ is owned by top_ once finish() has run.
  if (!objectsAttached_) plist_free(node(objects_));
  plist_free(node(top_));
}

std::uint64_t KeyedArchiver::append(void* entry) {
  plist_array_append_item(node(objects_), node(entry));
  return plist_array_get_size(node(objects_)) - 1;
}

std::pair<std::uint64_t, void*> KeyedArchiver::beginObject() {
  plist_t dictionary = plist_new_dict();
  return {append(dictionary), dictionary};
}

void KeyedArchiver::endObject(void* dictionary, std::string_view className) {
  plist_dict_set_item(node(dictionary), format::kClass, plist_new_uid(classEntry(className)));
}

std::uint64_t KeyedArchiver::textEntry(const std::string& text) {
  if (auto found = texts_.find(text); found != texts_.end()) return found->second;
  // A text that cannot be stored still gets an entry, so the layout stays
  // whole; finish() then refuses the archive.
  TextFit fit = textFit(text);
  if (fit == TextFit::nowhere) badText_ = true;
  if (fit == TextFit::binaryOnly) textNotForXml_ = true;
  std::uint64_t uid = append(plist_new_string(fit != TextFit::nowhere ? text.c_str() : ""));
  texts_.emplace(text, uid);
  return uid;
}

std::uint64_t KeyedArchiver::numberEntry(const BoxedNumber& value) {
  if (value.isInteger()) {
    auto [found, added] = integers_.try_emplace(value.integerValue(), 0);
    // libplist 2.2 has no signed constructor; a negative integer is stored as
    // its two's complement, which the binary and XML writers emit as the
    // signed 8-byte integer readers expect.
    if (added)
      found->second = append(plist_new_uint(static_cast<std::uint64_t>(value.integerValue())));
    return found->second;
  }
  double real = value.doubleValue();
  std::uint64_t bits = 0;
  std::memcpy(&bits, &real, sizeof bits);
  auto [found, added] = reals_.try_emplace(bits, 0);
  if (added) found->second = append(plist_new_real(real));
  return found->second;
}

std::uint64_t KeyedArchiver::boolEntry(bool value) {
  std::optional<std::uint64_t>& entry = booleans_[value ? 1 : 0];
  if (!entry) entry = append(plist_new_bool(value ? 1 : 0));
  return *entry;
}

std::uint64_t KeyedArchiver::dateEntry(Date date) {
  plist_t dictionary = plist_new_dict();
  std::uint64_t uid = append(dictionary);
  double seconds = secondsSince1970(date) - format::kSecondsFrom1970To2001;
  plist_dict_set_item(dictionary, format::kTime, plist_new_real(seconds));
  plist_dict_set_item(dictionary, format::kClass, plist_new_uid(classEntry(format::kDateClass)));
  return uid;
}

std::uint64_t KeyedArchiver::classEntry(std::string_view className) {
  if (auto found = classes_.find(className); found != classes_.end()) return found->second;
  plist_t dictionary = plist_new_dict();
  std::string name(className);
  plist_dict_set_item(dictionary, format::kClassName, plist_new_string(name.c_str()));
  plist_t chain = plist_new_array();
  plist_array_append_item(chain, plist_new_string(name.c_str()));
  plist_array_append_item(chain, plist_new_string(format::kRootClass));
  plist_dict_set_item(dictionary, format::kClasses, chain);
  std::uint64_t uid = append(dictionary);
  classes_.emplace(std::move(name), uid);
  return uid;
}

void KeyedArchiver::setRoot(std::uint64_t uid) {
  plist_dict_set_item(node(top_), format::kVersion, plist_new_uint(format::kVersionNumber));
  plist_dict_set_item(node(top_), format::kArchiver, plist_new_string(format::kArchiverName));
  plist_t topKeys = plist_new_dict();
  plist_dict_set_item(topKeys, format::kRoot, plist_new_uid(uid));
  plist_dict_set_item(node(top_), format::kTop, topKeys);
}

Result<std::vector<std::uint8_t>> KeyedArchiver::finish(PropertyListFormat format) {
  if (badText_)
    return Error(error_domain::kPlatform, 4,
                 "The archive cannot hold a text with a NUL character or invalid UTF-8.");
  bool xml = format == PropertyListFormat::xml;
  if (xml && textNotForXml_)
    return Error(error_domain::kPlatform, 4,
                 "The XML archive cannot hold a text with a control character; write it in the "
                 "binary form.");
  plist_dict_set_item(node(top_), format::kObjects, node(objects_));
  objectsAttached_ = true;
  char* data = nullptr;
  std::uint32_t size = 0;
  if (xml)
    plist_to_xml(node(top_), &data, &size);
  else
    plist_to_bin(node(top_), &data, &size);
  if (data == nullptr)
    return Error(error_domain::kPlatform, 4, "The archive could not be written.");
  std::vector<std::uint8_t> bytes =
      xml ? escapeCarriageReturns(data, size) : std::vector<std::uint8_t>(data, data + size);
  std::free(data);
  return bytes;
}

}  // namespace orbelin::archiving
