// Our archives read by Python's plistlib, and archives plistlib wrote read by us.
#include <algorithm>
#include <cstdio>
#include <limits>
#include <memory>
#include <string>

#include <boost/json.hpp>

#include "support/test_support.h"
#include "watch/watch_fixture.h"

namespace orbelin::test {
namespace {

using archiving::BoxedNumber;
namespace json = boost::json;

std::string tool() {
  return std::string(ORBELIN_SOURCE_DIR) + "/tests/watch/keyed_archive_tool.py";
}

// Runs the tool; its standard output, or "" when it failed.
std::string runTool(const std::string& arguments) {
  std::string command = "python3 '" + tool() + "' " + arguments;
  std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  if (!pipe) return "";
  std::string output;
  char buffer[4096];
  while (std::size_t n = fread(buffer, 1, sizeof buffer, pipe.get())) output.append(buffer, n);
  int status = pclose(pipe.release());
  return status == 0 ? output : "";
}

// The archive as plistlib sees it: {"keys": [...], "values": {...}} for
// dictionaries, {"UID": n} for UIDs, {"real": x} and {"bool": b} for those kinds.
class Dump {
 public:
  explicit Dump(const std::filesystem::path& file) {
    std::string text = runTool("dump '" + file.string() + "'");
    EXPECT_FALSE(text.empty()) << "plistlib could not read " << file;
    if (!text.empty()) root_ = json::parse(text).as_object();
  }
  bool binary() const { return root_.at("binary").as_bool(); }
  const json::object& archive() const { return root_.at("archive").at("values").as_object(); }
  const json::array& objects() const { return archive().at("$objects").as_array(); }
  const json::value& entry(const json::value& uid) const {
    return objects().at(static_cast<std::size_t>(uid.at("UID").as_int64()));
  }
  const json::value& value(const json::value& dictionary, const char* key) const {
    return dictionary.at("values").at(key);
  }
  std::vector<std::string> keys(const json::value& dictionary) const {
    std::vector<std::string> names;
    for (const auto& key : dictionary.at("keys").as_array()) names.emplace_back(key.as_string());
    return names;
  }
  std::string className(const json::value& object) const {
    const json::value& classEntry = entry(value(object, "$class"));
    EXPECT_EQ(value(classEntry, "$classes").at(1), "NSObject");
    EXPECT_EQ(value(classEntry, "$classes").at(0), value(classEntry, "$classname"));
    return std::string(value(classEntry, "$classname").as_string());
  }

 private:
  json::object root_;
};

TEST_F(WatchTest, PlistlibReadsOurTaskArchive) {
  WatchTask watch(*task(-7, 2, 1, true));
  watch.statusDescription.reset();
  watch.patient->firstname = "Same";
  watch.patient->lastname = "Same";
  TempDir dir;
  writeFile(dir.path() / "task.plist", archive(watch));
  Dump dump(dir.path() / "task.plist");
  ASSERT_TRUE(dump.binary());
  EXPECT_EQ(dump.archive().at("$archiver"), "NSKeyedArchiver");
  EXPECT_EQ(dump.archive().at("$version"), 100000);
  EXPECT_EQ(dump.objects().at(0), "$null");
  const json::value& root = dump.entry(dump.value(dump.archive().at("$top"), "root"));
  EXPECT_EQ(dump.className(root), "OrbelinData.WatchTask");
  EXPECT_EQ(dump.keys(root),
            (std::vector<std::string>{"id", "patient", "text", "createdDate", "delayed", "status",
                                      "statusDescription", "dueDate", "type", "$class"}));
  // Numbers and truth values are entries referenced by UID, as
  // encodeObject(_:forKey:) writes them, never inline under the key.
  EXPECT_EQ(dump.entry(dump.value(root, "id")), -7);
  EXPECT_EQ(dump.entry(dump.value(root, "delayed")).at("bool"), false);
  EXPECT_EQ(dump.entry(dump.value(root, "status")), 2);
  EXPECT_EQ(dump.entry(dump.value(root, "type")), 1);
  EXPECT_EQ(dump.value(root, "statusDescription").at("UID"), 0);  // null
  EXPECT_EQ(dump.entry(dump.value(root, "text")), "Check drain");

  // Dates: NSDate objects counting seconds from 2001-01-01 UTC as reals.
  const json::value& due = dump.entry(dump.value(root, "dueDate"));
  EXPECT_EQ(dump.className(due), "NSDate");
  EXPECT_EQ(dump.value(due, "NS.time").at("real"),
            secondsSince1970(utc("2026-06-14T17:30:00Z")) - 978307200.0);
  const json::value& created = dump.entry(dump.value(root, "createdDate"));
  EXPECT_EQ(dump.value(created, "NS.time").at("real"),
            secondsSince1970(utc("2026-06-14T08:00:00Z")) - 978307200.0);
  EXPECT_EQ(dump.value(created, "$class"), dump.value(due, "$class"));  // one NSDate class

  const json::value& patient = dump.entry(dump.value(root, "patient"));
  EXPECT_EQ(dump.className(patient), "OrbelinData.WatchPatient");
  EXPECT_EQ(dump.keys(patient),
            (std::vector<std::string>{"id", "firstname", "lastname", "roomNumber", "$class"}));
  EXPECT_EQ(dump.entry(dump.value(patient, "id")), 42);
  EXPECT_EQ(dump.value(patient, "firstname"), dump.value(patient, "lastname"));  // shared
  EXPECT_EQ(dump.entry(dump.value(patient, "firstname")), "Same");
  EXPECT_EQ(dump.entry(dump.value(patient, "roomNumber")), "12B");

  // The XML form carries the same archive.
  writeFile(dir.path() / "task.xml", archive(watch, archiving::PropertyListFormat::xml));
  Dump xml(dir.path() / "task.xml");
  EXPECT_FALSE(xml.binary());
  EXPECT_EQ(xml.objects().size(), dump.objects().size());
}

TEST_F(WatchTest, PlistlibReadsOurStaffMemberArchive) {
  WatchStaffMember member(*staff("Charge Nurse"));
  TempDir dir;
  writeFile(dir.path() / "staff.plist", archive(member));
  Dump dump(dir.path() / "staff.plist");
  const json::value& root = dump.entry(dump.value(dump.archive().at("$top"), "root"));
  EXPECT_EQ(dump.className(root), "OrbelinData.WatchStaffMember");
  EXPECT_EQ(dump.keys(root), (std::vector<std::string>{"firstname", "lastname", "phoneNumber",
                                                       "image", "role", "$class"}));
  EXPECT_EQ(dump.entry(dump.value(root, "firstname")), "Grace");
  EXPECT_EQ(dump.entry(dump.value(root, "lastname")), "Hopper");
  EXPECT_EQ(dump.entry(dump.value(root, "image")), "grace.png");
  EXPECT_EQ(dump.entry(dump.value(root, "role")), "Charge Nurse");
}

// An archive as plistlib reads it with the key order of every dictionary
// left out: the order is no part of the format.
json::value withoutKeyOrder(const json::value& value) {
  if (value.is_array()) {
    json::array items;
    for (const auto& item : value.as_array()) items.push_back(withoutKeyOrder(item));
    return items;
  }
  if (!value.is_object()) return value;
  const json::object& object = value.as_object();
  if (object.contains("keys") && object.contains("values")) {
    json::object values;
    for (const auto& [key, item] : object.at("values").as_object())
      values[key] = withoutKeyOrder(item);
    return values;
  }
  return value;
}

// Our archive of `object` in both forms has exactly the object graph of the
// fixture `expected`: the same "$objects" entries in the same places, so every
// UID refers to the same thing, and the same "$top".
template <typename T>
void expectSameObjectGraph(const T& object, const std::string& expected) {
  TempDir dir;
  auto fixturePath = dir.path() / "expected.plist";
  ASSERT_EQ(runTool("write " + expected + " '" + fixturePath.string() + "'"), "") << expected;
  json::value want = withoutKeyOrder(Dump(fixturePath).archive());
  const json::array& wantObjects = want.at("$objects").as_array();
  for (auto format : {archiving::PropertyListFormat::binary, archiving::PropertyListFormat::xml}) {
    SCOPED_TRACE(expected + (format == archiving::PropertyListFormat::xml ? " (XML)" : ""));
    auto path = dir.path() / "ours.plist";
    auto data = archiveWatchObject(object, format);
    ASSERT_TRUE(data) << data.error().description();
    writeFile(path, *data);
    json::value got = withoutKeyOrder(Dump(path).archive());
    const json::array& gotObjects = got.at("$objects").as_array();
    EXPECT_EQ(gotObjects.size(), wantObjects.size());
    for (std::size_t i = 0; i < std::min(gotObjects.size(), wantObjects.size()); ++i)
      EXPECT_EQ(gotObjects[i], wantObjects[i]) << "entry " << i;
    EXPECT_EQ(got.at("$top"), want.at("$top"));
    EXPECT_EQ(got.at("$archiver"), want.at("$archiver"));
    EXPECT_EQ(got.at("$version"), want.at("$version"));
  }
}

TEST_F(WatchTest, ObjectGraphIsThePlatformArchiversForTheSameCalls) {
  WatchTask withPatient(*task(7, 1, 1, true));
  expectSameObjectGraph(withPatient, "expected-task-with-patient");

  WatchTask alone(*task(31, 3, 1, false));
  alone.text.reset();
  alone.statusDescription.reset();
  alone.delayed = true;
  expectSameObjectGraph(alone, "expected-task-without-patient");

  WatchStaffMember member(*staff("Charge Nurse"));
  member.image.reset();
  expectSameObjectGraph(member, "expected-staff");
}

std::vector<std::uint8_t> written(const TempDir& dir, const std::string& name) {
  auto path = dir.path() / (name + ".plist");
  EXPECT_EQ(runTool("write " + name + " '" + path.string() + "'"), "") << name;
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

TEST_F(WatchTest, ReadsArchivesPlistlibWrote) {
  TempDir dir;
  for (const char* name : {"task-shared", "task-shared-xml"}) {
    WatchTask task = readBack<WatchTask>(written(dir, name));
    EXPECT_EQ(task.id, BoxedNumber(5));
    EXPECT_FALSE(task.id.isInteger());
    EXPECT_EQ(task.text, "Same");
    EXPECT_EQ(task.statusDescription, "Same");
    EXPECT_FALSE(task.createdDate);
    EXPECT_TRUE(task.delayed);
    EXPECT_EQ(task.status, BoxedNumber(2));
    EXPECT_EQ(task.type, BoxedNumber(1));
    EXPECT_EQ(task.dueDate, dateFromSeconds(978307200.0 + 800000000.5));
    ASSERT_TRUE(task.patient) << name;
    EXPECT_EQ(task.patient->id, BoxedNumber(-12));
    EXPECT_EQ(task.patient->firstname, "Ada");
    EXPECT_EQ(task.patient->lastname, "Ada");
    EXPECT_EQ(task.patient->roomNumber, "Same");
  }

  WatchStaffMember member = readBack<WatchStaffMember>(written(dir, "staff-nsstring"));
  EXPECT_EQ(member.firstName, "Grace");
  EXPECT_EQ(member.lastName, "Hopper");  // an NSMutableString dictionary
  EXPECT_EQ(member.phoneNumber, "555-0100");
  EXPECT_FALSE(member.image);  // a number where a text belongs
  EXPECT_EQ(member.role, "Grace");

  WatchPatient patient = readBack<WatchPatient>(written(dir, "patient-mangled"));
  EXPECT_EQ(patient.id, BoxedNumber(std::int64_t{9007199254740993}));
  EXPECT_NE(patient.id, BoxedNumber(9007199254740992.0));
  EXPECT_FALSE(patient.firstname);   // null
  EXPECT_FALSE(patient.lastname);    // missing
  EXPECT_FALSE(patient.roomNumber);  // a number
}

// The platform's layout (every number and truth value an entry) and the one
// our older archives have (numbers and truth values inline) give one object.
TEST_F(WatchTest, ReadsReferencedAndInlineNumbersAlike) {
  TempDir dir;
  for (const char* name : {"expected-task-with-patient", "inline-task-with-patient"}) {
    SCOPED_TRACE(name);
    WatchTask task = readBack<WatchTask>(written(dir, name));
    EXPECT_EQ(task.id, BoxedNumber(7));
    EXPECT_TRUE(task.id.isInteger());
    EXPECT_EQ(task.status, BoxedNumber(1));
    EXPECT_EQ(task.type, BoxedNumber(1));
    EXPECT_FALSE(task.delayed);
    EXPECT_EQ(task.text, "Check drain");
    EXPECT_EQ(task.statusDescription, "Waiting");
    EXPECT_EQ(task.createdDate, utc("2026-06-14T08:00:00Z"));
    EXPECT_EQ(task.dueDate, utc("2026-06-14T17:30:00Z"));
    ASSERT_TRUE(task.patient);
    EXPECT_EQ(task.patient->id, BoxedNumber(42));
    EXPECT_EQ(task.patient->firstname, "Ada");
    EXPECT_EQ(task.patient->lastname, "Lovelace");
    EXPECT_EQ(task.patient->roomNumber, "12B");
  }
  WatchTask alone = readBack<WatchTask>(written(dir, "expected-task-without-patient"));
  EXPECT_TRUE(alone.delayed);  // the boolean entry true, apart from the number 1
  EXPECT_EQ(alone.status, BoxedNumber(3));
  EXPECT_EQ(alone.type, BoxedNumber(1));
  EXPECT_FALSE(alone.patient);
  EXPECT_FALSE(alone.text);
  WatchStaffMember member = readBack<WatchStaffMember>(written(dir, "expected-staff"));
  EXPECT_EQ(member.role, "Charge Nurse");
  EXPECT_FALSE(member.image);

  // The ends of the signed 64-bit range are kept exactly.
  EXPECT_EQ(readBack<WatchTask>(written(dir, "id-max")).id,
            BoxedNumber(std::numeric_limits<std::int64_t>::max()));
  EXPECT_EQ(readBack<WatchTask>(written(dir, "id-min")).id,
            BoxedNumber(std::numeric_limits<std::int64_t>::min()));
}

// An array or a dictionary under "patient", inline or as an entry, plain or
// as the platform's collection classes, is a value of the wrong type: the
// task is read, without a patient.
TEST_F(WatchTest, PatientOfAnotherTypeIsLeftAbsent) {
  TempDir dir;
  for (const char* name :
       {"patient-inline-array", "patient-inline-dictionary", "patient-plain-array",
        "patient-plain-dictionary", "patient-nsarray", "patient-nsdictionary"}) {
    auto object = unarchiveWatchObject(written(dir, name));
    ASSERT_TRUE(object) << name << ": " << object.error().description();
    ASSERT_TRUE(std::holds_alternative<WatchTask>(*object)) << name;
    const WatchTask& task = std::get<WatchTask>(*object);
    EXPECT_FALSE(task.patient) << name;
    EXPECT_EQ(task.id, BoxedNumber(31)) << name;
    EXPECT_EQ(task.status, BoxedNumber(2)) << name;
  }
}

// Another archiver may write an NSDate as the property list's own date.
TEST_F(WatchTest, ReadsPlainPropertyListDates) {
  TempDir dir;
  // Binary dates keep their fraction; these lie beyond what 32-bit seconds
  // from 2001 hold and half a second before 2001.
  WatchTask binary = readBack<WatchTask>(written(dir, "plist-dates"));
  EXPECT_EQ(binary.dueDate, utc("2100-01-01T12:00:00Z") + DateSeconds(0.25));
  EXPECT_EQ(binary.createdDate, utc("2001-01-01T00:00:00Z") - DateSeconds(0.5));
  EXPECT_EQ(binary.id, BoxedNumber(8));
  // XML dates are whole seconds.
  WatchTask xml = readBack<WatchTask>(written(dir, "plist-dates-xml"));
  EXPECT_EQ(xml.dueDate, utc("2100-01-01T12:00:00Z"));
  EXPECT_EQ(xml.createdDate, utc("2000-12-31T23:59:59Z"));
}

// What we write in XML is a well-formed document for any XML parser (here
// expat, under plistlib), and reads back with the same texts.
TEST_F(WatchTest, XmlArchiveIsWellFormedWhateverTheTexts) {
  WatchTask watch(*task(5, 0, 0, true));
  watch.text = "line\r\nnext\ttab <&> ]]> \"q\" 'a'";
  watch.statusDescription = "\r";
  TempDir dir;
  auto path = dir.path() / "task.xml";
  writeFile(path, archive(watch, archiving::PropertyListFormat::xml));
  Dump dump(path);
  const json::value& root = dump.entry(dump.value(dump.archive().at("$top"), "root"));
  EXPECT_EQ(dump.entry(dump.value(root, "text")), json::string_view(*watch.text));
  EXPECT_EQ(dump.entry(dump.value(root, "statusDescription")), "\r");
  WatchTask back = readBack<WatchTask>(readFile(path));
  EXPECT_EQ(back.text, watch.text);
  EXPECT_EQ(back.statusDescription, "\r");

  // Controls XML 1.0 cannot spell at all: the XML form is refused, the
  // binary form holds them.
  for (std::string control : {std::string("\x01"), std::string("\x1F"), std::string("\x7F\x08"),
                              std::string("\xEF\xBF\xBE")}) {
    watch.text = "a" + control + "b";
    auto refused = archiveWatchObject(watch, archiving::PropertyListFormat::xml);
    EXPECT_FALSE(refused) << "byte " << int(static_cast<unsigned char>(control[0]));
    watch.patient->roomNumber = watch.text;  // in a nested object too
    watch.text = "plain";
    EXPECT_FALSE(archiveWatchObject(watch, archiving::PropertyListFormat::xml));
    EXPECT_EQ(readBack<WatchTask>(archive(watch)).patient->roomNumber, "a" + control + "b");
    watch.patient->roomNumber = "12B";
  }
}

}  // namespace
}  // namespace orbelin::test
