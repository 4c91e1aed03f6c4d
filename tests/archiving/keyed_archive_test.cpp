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

TEST(KeyedArchiveTest, RoundTripsEveryKindInBothFormats) {
  Holder holder;
  holder.number = -9000000000;  // negative and past 32 bits
  holder.flag = true;
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
    EXPECT_EQ(value(root, "flag").kind(), Kind::boolean);
    EXPECT_EQ(value(root, "flag").asBoolean(), true);
    EXPECT_EQ(value(root, "first").asText(), "Zoë");
    EXPECT_EQ(value(root, "second").asText(), "Zoë");
    EXPECT_EQ(value(root, "when").asDate(), holder.when);
    DecodedValue leaf = value(root, "leaf");
    ASSERT_EQ(leaf.kind(), Kind::object);
    EXPECT_EQ(leaf.asObject()->className(), "Test.Leaf");
    EXPECT_EQ(value(*leaf.asObject(), "name").asText(), "leaf");
    // A key never written reads as null, as a recorded null does.
    EXPECT_FALSE(root.containsValueForKey("missing"));
    EXPECT_EQ(value(root, "missing").kind(), Kind::null);
  }
}

TEST(KeyedArchiveTest, AbsentValuesAreRecordedAsNull) {
  Holder holder;
  holder.number = 2.5;
  auto data = KeyedArchiver::archivedData(holder);
  ASSERT_TRUE(data);
  KeyedDecoder root = open(*data);
  for (const char* key : {"first", "second", "when", "leaf"}) {
    EXPECT_TRUE(root.containsValueForKey(key)) << key;
    EXPECT_EQ(value(root, key).kind(), Kind::null) << key;
  }
  EXPECT_FALSE(value(root, "number").asNumber()->isInteger());
  EXPECT_EQ(value(root, "number").asNumber(), BoxedNumber(2.5));
  EXPECT_EQ(value(root, "flag").asBoolean(), false);
}

TEST(KeyedArchiveTest, RefusesTextsItCannotStore) {
  Holder holder;
  holder.first = std::string("a\0b", 3);
  EXPECT_FALSE(KeyedArchiver::archivedData(holder));
  holder.first = "\xC3";  // a lead byte with nothing after it
  EXPECT_FALSE(KeyedArchiver::archivedData(holder));
  holder.first = "\xED\xA0\x80";  // a UTF-16 surrogate spelled in UTF-8
  EXPECT_FALSE(KeyedArchiver::archivedData(holder));
  holder.first = "\xC0\xAF";  // an overlong slash
  EXPECT_FALSE(KeyedArchiver::archivedData(holder));
  holder.first = "\xF0\x9F\x98\x80 ok";
  EXPECT_TRUE(KeyedArchiver::archivedData(holder));
}

TEST(KeyedArchiveTest, XmlIsWellFormedOrRefused) {
  Holder holder;
  // Tab, line feed and carriage return are XML characters; a carriage return
  // is written as a reference, since XML readers turn a raw one into a line
  // feed.
  holder.first = "a\r\nb\tc\r";
  auto data = KeyedArchiver::archivedData(holder, PropertyListFormat::xml);
  ASSERT_TRUE(data);
  std::string text(data->begin(), data->end());
  EXPECT_EQ(text.find('\r'), std::string::npos);
  EXPECT_NE(text.find("a&#13;\nb\tc&#13;"), std::string::npos) << text;
  EXPECT_EQ(value(open(*data), "first").asText(), holder.first);

  // Other C0 controls and U+FFFE / U+FFFF have no XML spelling: only the
  // binary form takes them, and the XML form is refused, not written broken.
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
  data = KeyedArchiver::archivedData(holder, PropertyListFormat::xml);
  ASSERT_TRUE(data);
  EXPECT_EQ(value(open(*data), "second").asText(), holder.second);
}

// Archives in XML as the platform writes them, UIDs spelled {"CF$UID": n}.
std::string xmlArchive(const std::string& objects, const std::string& root = "1") {
  auto uid = [](const std::string& n) {
    return "<dict><key>CF$UID</key><integer>" + n + "</integer></dict>";
  };
  return "<plist><dict><key>$archiver</key><string>NSKeyedArchiver</string>"
         "<key>$version</key><integer>100000</integer><key>$top</key><dict><key>root</key>" +
         uid(root) + "</dict><key>$objects</key><array><string>$null</string>" + objects +
         "</array></dict></plist>";
}
std::string uid(int n) {
  return "<dict><key>CF$UID</key><integer>" + std::to_string(n) + "</integer></dict>";
}
const std::string kHolderClass =
    "<dict><key>$classname</key><string>Test.Holder</string><key>$classes</key>"
    "<array><string>Test.Holder</string><string>NSObject</string></array></dict>";

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

TEST(KeyedArchiveTest, BrokenStructureIsAnErrorNotACrash) {
  // A nested object that refers back to its parent.
  std::string cycle = "<dict><key>$class</key>" + uid(2) + "<key>leaf</key>" + uid(3) + "</dict>" +
                      kHolderClass + "<dict><key>$class</key>" + uid(2) + "<key>back</key>" +
                      uid(1) + "</dict>";
  KeyedDecoder root = open(bytes(xmlArchive(cycle)));
  auto leaf = root.decodeObjectForKey("leaf");
  ASSERT_TRUE(leaf);
  ASSERT_EQ(leaf->kind(), Kind::object);
  EXPECT_FALSE(leaf->asObject()->decodeObjectForKey("back"));

  std::string outOfRange =
      "<dict><key>$class</key>" + uid(2) + "<key>first</key>" + uid(40) + "</dict>" + kHolderClass;
  EXPECT_FALSE(open(bytes(xmlArchive(outOfRange))).decodeObjectForKey("first"));

  std::string noClassName = "<dict><key>$class</key>" + uid(2) + "</dict><dict/>";
  EXPECT_FALSE(KeyedUnarchiver::rootDecoder(bytes(xmlArchive(noClassName))));
  EXPECT_FALSE(KeyedUnarchiver::rootDecoder(bytes(xmlArchive(kHolderClass, "9"))));
  EXPECT_FALSE(KeyedUnarchiver::rootDecoder(bytes(xmlArchive("<string>x</string>"))));
  EXPECT_FALSE(KeyedUnarchiver::rootDecoder(bytes("<plist><array/></plist>")));

  // Objects nested past the limit, each one a fresh entry (no cycle).
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
