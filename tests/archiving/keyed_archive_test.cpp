#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orbelin/archiving/keyed_archiver.h"
#include "orbelin/archiving/keyed_unarchiver.h"

namespace orbelin::archiving {
namespace {

using Kind = DecodedValue::Kind;

struct Leaf {
  static constexpr const char* className = "Test.Leaf";
  std::optional<std::string> name;
  void encodeWithCoder(KeyedEncoder& coder) const { coder.encodeText(name, "name"); }
};

struct Holder {
  static constexpr const char* className = "Test.Holder";
  BoxedNumber number = 0;
  bool flag = false;
  std::optional<std::string> first;
  std::optional<std::string> second;
  std::optional<Date> when;
  std::optional<Leaf> leaf;
  void encodeWithCoder(KeyedEncoder& coder) const {
    coder.encodeNumber(number, "number");
    coder.encodeBool(flag, "flag");
    coder.encodeText(first, "first");
    coder.encodeText(second, "second");
    coder.encodeDate(when, "when");
    coder.encodeObject(leaf ? &*leaf : nullptr, "leaf");
  }
};

std::vector<std::uint8_t> bytes(const std::string& text) {
  return {text.begin(), text.end()};
}

KeyedDecoder open(const std::vector<std::uint8_t>& data) {
  auto root = KeyedUnarchiver::rootDecoder(data);
  EXPECT_TRUE(root) << (root ? "" : root.error().description());
  return *root;
}

DecodedValue value(const KeyedDecoder& decoder, const char* key) {
  auto decoded = decoder.decodeObjectForKey(key);
  EXPECT_TRUE(decoded) << key;
  return decoded ? *decoded : DecodedValue::other();
}

// Every kind of value comes back under its key with its kind, in both forms;
// absent values are recorded as nulls, and a key never written reads as null.
TEST(KeyedArchiveTest, RoundTripsEveryKindInBothFormats) {
  Holder holder, sparse;
  holder.number = -9000000000;  // negative and past 32 bits
  holder.flag = true;
  sparse.number = 2.5;
  holder.first.emplace("Zoë");  // assigning trips a false GCC 12 warning under ASan
  holder.second.emplace("Zoë");
  holder.when = dateFromSeconds(978307200.25);
  holder.leaf = Leaf{"leaf"};
  for (auto format : {PropertyListFormat::binary, PropertyListFormat::xml}) {
    auto data = KeyedArchiver::archivedData(holder, format);
    ASSERT_TRUE(data);
    EXPECT_EQ(std::string(data->begin(), data->begin() + 8) == "bplist00",
              format == PropertyListFormat::binary);
    KeyedDecoder root = open(*data);
    EXPECT_EQ(root.className(), "Test.Holder");
    EXPECT_EQ(value(root, "number").asNumber(), BoxedNumber(-9000000000));
    EXPECT_TRUE(value(root, "number").asNumber()->isInteger());
    EXPECT_EQ(value(root, "flag").asBoolean(), true);
    EXPECT_EQ(value(root, "first").asText(), "Zoë");
    EXPECT_EQ(value(root, "second").asText(), "Zoë");
    EXPECT_EQ(value(root, "when").asDate(), holder.when);
    DecodedValue leaf = value(root, "leaf");
    ASSERT_EQ(leaf.kind(), Kind::object);
    EXPECT_EQ(leaf.asObject()->className(), "Test.Leaf");
    EXPECT_EQ(value(*leaf.asObject(), "name").asText(), "leaf");
    EXPECT_FALSE(root.containsValueForKey("missing"));
    EXPECT_EQ(value(root, "missing").kind(), Kind::null);

    auto sparseData = KeyedArchiver::archivedData(sparse, format);
    ASSERT_TRUE(sparseData);
    KeyedDecoder absent = open(*sparseData);
    for (const char* key : {"first", "second", "when", "leaf"}) {
      EXPECT_TRUE(absent.containsValueForKey(key)) << key;
      EXPECT_EQ(value(absent, key).kind(), Kind::null) << key;
    }
    EXPECT_FALSE(value(absent, "number").asNumber()->isInteger());
    EXPECT_EQ(value(absent, "number").asNumber(), BoxedNumber(2.5));
    EXPECT_EQ(value(absent, "flag").asBoolean(), false);
  }
}

// Texts with a NUL or that are not UTF-8 are refused, not written broken.
TEST(KeyedArchiveTest, RefusesTextsItCannotStore) {
  Holder holder;
  for (std::string bad :
       {std::string("a\0b", 3), std::string("\xC3"), std::string("\xED\xA0\x80")}) {
    holder.first = bad;
    EXPECT_FALSE(KeyedArchiver::archivedData(holder)) << bad.size();
  }
  holder.first = "\xF0\x9F\x98\x80 ok";
  EXPECT_TRUE(KeyedArchiver::archivedData(holder));
}

// The XML form is well-formed for any reader, or refused when a text has
// no XML spelling; the binary form holds every text.
TEST(KeyedArchiveTest, XmlIsWellFormedOrRefused) {
  Holder holder;
  // C0 controls but tab, line feed and carriage return (those are read back
  // by an independent XML reader in the watch tests), U+FFFE and U+FFFF.
  for (const char* control : {"\x01", "\x08", "\x0B", "\x1F", "\xEF\xBF\xBE", "\xEF\xBF\xBF"}) {
    holder.second = std::string("x") + control + "y";
    EXPECT_FALSE(KeyedArchiver::archivedData(holder, PropertyListFormat::xml))
        << holder.second->size();
    auto binary = KeyedArchiver::archivedData(holder);
    ASSERT_TRUE(binary);
    EXPECT_EQ(value(open(*binary), "second").asText(), holder.second);
  }
  // U+007F..U+009F and U+FFFD are XML characters.
  holder.second = "\x7F \xC2\x80 \xC2\x9F \xEF\xBF\xBD";
  auto data = KeyedArchiver::archivedData(holder, PropertyListFormat::xml);
  ASSERT_TRUE(data);
  EXPECT_EQ(value(open(*data), "second").asText(), holder.second);
}

std::string uid(int n) {
  return "<dict><key>CF$UID</key><integer>" + std::to_string(n) + "</integer></dict>";
}
// Archives in XML as the platform writes them, UIDs spelled {"CF$UID": n}.
std::string xmlArchive(const std::string& objects, int root = 1) {
  return "<plist><dict><key>$archiver</key><string>NSKeyedArchiver</string>"
         "<key>$version</key><integer>100000</integer><key>$top</key><dict><key>root</key>" +
         uid(root) + "</dict><key>$objects</key><array><string>$null</string>" + objects +
         "</array></dict></plist>";
}
const std::string kHolderClass =
    "<dict><key>$classname</key><string>Test.Holder</string><key>$classes</key>"
    "<array><string>Test.Holder</string><string>NSObject</string></array></dict>";

// Layouts of other archivers read the same.
TEST(KeyedArchiveTest, ReadsWhatThePlatformMayWrite) {
  // NSString dictionaries, inline texts, extra keys, integer NS.time.
  std::string objects = "<dict><key>$class</key>" + uid(2) + "<key>first</key>" + uid(3) +
                        "<key>second</key><string>inline</string><key>when</key>" + uid(5) +
                        "<key>extra</key><array/></dict>" + kHolderClass +
                        "<dict><key>NS.string</key><string>boxed</string><key>$class</key>" +
                        uid(4) +
                        "</dict><dict><key>$classname</key><string>NSMutableString</string></dict>"
                        "<dict><key>NS.time</key><integer>0</integer><key>$class</key>" +
                        uid(6) + "</dict><dict><key>$classname</key><string>NSDate</string></dict>";
  KeyedDecoder root = open(bytes(xmlArchive(objects)));
  EXPECT_EQ(value(root, "first").asText(), "boxed");
  EXPECT_EQ(value(root, "second").asText(), "inline");
  EXPECT_EQ(value(root, "when").asDate(), dateFromSeconds(978307200));
  EXPECT_EQ(value(root, "extra").kind(), Kind::other);
}

// Objects nested past the limit, each one a fresh entry (no cycle), end in
// an error, not in endless recursion. (Cycles, references out of range and
// broken roots: the hostile archives of the watch tests.)
TEST(KeyedArchiveTest, ObjectsNestedTooDeeplyAreAnErrorNotACrash) {
  std::string chain;
  int count = static_cast<int>(KeyedUnarchiver::kMaxObjectDepth) + 3;
  for (int i = 1; i <= count; ++i)
    chain +=
        "<dict><key>$class</key>" + uid(count + 1) + "<key>leaf</key>" + uid(i + 1) + "</dict>";
  chain += kHolderClass;
  auto current = std::make_shared<KeyedDecoder>(open(bytes(xmlArchive(chain))));
  bool failed = false;
  for (int i = 0; i < count && !failed; ++i) {
    auto next = current->decodeObjectForKey("leaf");
    if (!next || next->kind() != Kind::object) {
      failed = !next;
      break;
    }
    current = std::make_shared<KeyedDecoder>(*next->asObject());
  }
  EXPECT_TRUE(failed);
}

}  // namespace
}  // namespace orbelin::archiving
