// Our archives read by Python's plistlib, and archives plistlib wrote read by us.
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

// Runs the independent tool; its standard output, or "" when it failed.
std::string runTool(const std::string& arguments) {
  std::string command = "python3 '" + std::string(ORBELIN_SOURCE_DIR) +
                        "/tests/watch/keyed_archive_tool.py' " + arguments;
  std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  if (!pipe) return "";
  std::string output;
  char buffer[4096];
  while (std::size_t n = fread(buffer, 1, sizeof buffer, pipe.get())) output.append(buffer, n);
  int status = pclose(pipe.release());
  return status == 0 ? output : "";
}

// The bytes of the tool's archive `name`.
std::vector<std::uint8_t> written(const std::string& name) {
  TempDir dir;
  auto path = dir.path() / "written.plist";
  EXPECT_EQ(runTool("write " + name + " '" + path.string() + "'"), "") << name;
  return readBytes(path);
}

// The archive as plistlib sees it: {"keys": [...], "values": {...}} for
// dictionaries, {"UID": n} for UIDs, {"real": x} and {"bool": b} for those kinds.
class Dump {
 public:
  explicit Dump(const std::vector<std::uint8_t>& data) {
    TempDir dir;
    writeFile(dir.path() / "archive.plist", data);
    std::string text = runTool("dump '" + (dir.path() / "archive.plist").string() + "'");
    EXPECT_FALSE(text.empty()) << "plistlib could not read the archive";
    if (!text.empty()) root_ = json::parse(text).as_object();
  }
  bool binary() const { return root_.at("binary").as_bool(); }
  const json::object& archive() const { return root_.at("archive").at("values").as_object(); }
  const json::array& objects() const { return archive().at("$objects").as_array(); }
  const json::value& root() const { return at(archive().at("$top"), "root"); }
  // The UID under `key`, and the entry it refers to.
  std::int64_t uid(const json::value& dictionary, const char* key) const {
    return dictionary.at("values").at(key).at("UID").as_int64();
  }
  const json::value& at(const json::value& dictionary, const char* key) const {
    return objects().at(static_cast<std::size_t>(uid(dictionary, key)));
  }

 private:
  json::object root_;
};

// What the fixtures of ObjectGraphIsThePlatformArchiversForTheSameCalls leave
// out: a negative number, equal texts sharing an entry, a present image.
TEST_F(WatchTest, PlistlibReadsOurArchives) {
  WatchTask watch(*task(-7, 2, 1, true));
  watch.patient->firstname = watch.patient->lastname = "Same";
  Dump dump(archive(watch));
  EXPECT_EQ(dump.at(dump.root(), "id"), -7);
  const json::value& patient = dump.at(dump.root(), "patient");
  EXPECT_EQ(dump.uid(patient, "firstname"), dump.uid(patient, "lastname"));  // one entry
  EXPECT_EQ(dump.at(patient, "firstname"), "Same");
  Dump staff(archive(WatchStaffMember(*this->staff("Charge Nurse"))));
  EXPECT_EQ(staff.at(staff.root(), "image"), "grace.png");
}

// An archive as plistlib reads it with the key order of every dictionary
// left out: the order is no part of the format.
json::value withoutKeyOrder(const json::value& value) {
  if (value.is_array()) {
    json::array items;
    for (const auto& item : value.as_array()) items.push_back(withoutKeyOrder(item));
    return items;
  }
  if (!value.is_object() || !value.as_object().contains("keys")) return value;
  json::object values;
  for (const auto& [key, item] : value.at("values").as_object())
    values[key] = withoutKeyOrder(item);
  return values;
}

// Our archive of `object` in both forms is exactly the fixture `expected`
// but for key order: the same "$objects" entries in the same places, so every
// UID refers to the same thing and the values were written in the same order,
// and the same "$top", "$archiver" and "$version".
template <typename T>
void expectSameObjectGraph(const T& object, const std::string& expected) {
  json::value want = withoutKeyOrder(Dump(written(expected)).archive());
  for (auto format : {archiving::PropertyListFormat::binary, archiving::PropertyListFormat::xml}) {
    SCOPED_TRACE(expected + (format == archiving::PropertyListFormat::xml ? " (XML)" : ""));
    auto data = archiveWatchObject(object, format);
    ASSERT_TRUE(data) << data.error().description();
    Dump ours(*data);
    EXPECT_EQ(ours.binary(), format == archiving::PropertyListFormat::binary);
    EXPECT_EQ(withoutKeyOrder(ours.archive()), want);
  }
}

// Our archives have the platform archiver's object graph, and its archives
// read back as the objects we archived; so do our older archives, whose
// numbers and truth values are inline rather than entries.
TEST_F(WatchTest, ObjectGraphIsThePlatformArchiversForTheSameCalls) {
  WatchTask withPatient(*task(7, 1, 1, true));
  expectSameObjectGraph(withPatient, "expected-task-with-patient");
  for (const char* name : {"expected-task-with-patient", "inline-task-with-patient"}) {
    SCOPED_TRACE(name);
    expectSameFields(readBack<WatchTask>(written(name)), withPatient);
  }

  WatchTask alone(*task(31, 3, 1, false));
  alone.text.reset();
  alone.statusDescription.reset();
  alone.delayed = true;  // the truth value true, apart from the number 1
  expectSameObjectGraph(alone, "expected-task-without-patient");
  expectSameFields(readBack<WatchTask>(written("expected-task-without-patient")), alone);

  WatchStaffMember member(*staff("Charge Nurse"));
  member.image.reset();
  expectSameObjectGraph(member, "expected-staff");
  WatchStaffMember memberBack = readBack<WatchStaffMember>(written("expected-staff"));
  EXPECT_EQ(memberBack.role, "Charge Nurse");
  EXPECT_FALSE(memberBack.image);

  // The ends of the signed 64-bit range are kept exactly.
  EXPECT_EQ(readBack<WatchTask>(written("id-max")).id,
            BoxedNumber(std::numeric_limits<std::int64_t>::max()));
  EXPECT_EQ(readBack<WatchTask>(written("id-min")).id,
            BoxedNumber(std::numeric_limits<std::int64_t>::min()));
}

// Archives laid out as another archiver may: shared entries, extra keys,
// NSString dictionaries, mangled class names, values of the wrong type, and
// the property list's own dates.
TEST_F(WatchTest, ReadsArchivesPlistlibWrote) {
  WatchTask shared(*task(5, 2, 1, true));
  shared.id = 5.0;
  shared.text = shared.statusDescription = "Same";
  shared.createdDate.reset();
  shared.delayed = true;
  shared.dueDate = dateFromSeconds(978307200.0 + 800000000.5);
  shared.patient->id = -12;
  shared.patient->lastname = "Ada";
  shared.patient->roomNumber = "Same";
  for (const char* name : {"task-shared", "task-shared-xml"}) {
    SCOPED_TRACE(name);
    expectSameFields(readBack<WatchTask>(written(name)), shared);
  }

  WatchStaffMember member = readBack<WatchStaffMember>(written("staff-nsstring"));
  EXPECT_EQ(member.firstName, "Grace");
  EXPECT_EQ(member.lastName, "Hopper");  // an NSMutableString dictionary
  EXPECT_EQ(member.phoneNumber, "555-0100");
  EXPECT_FALSE(member.image);  // a number where a text belongs
  EXPECT_EQ(member.role, "Grace");

  WatchPatient patient = readBack<WatchPatient>(written("patient-mangled"));
  EXPECT_EQ(patient.id, BoxedNumber(std::int64_t{9007199254740993}));
  EXPECT_NE(patient.id, BoxedNumber(9007199254740992.0));
  EXPECT_FALSE(patient.firstname);   // null
  EXPECT_FALSE(patient.lastname);    // missing
  EXPECT_FALSE(patient.roomNumber);  // a number

  // An array or a dictionary under "patient", inline or as an entry, plain or
  // as the platform's collection classes, is a value of the wrong type: the
  // task is read, without a patient.
  for (const char* name :
       {"patient-inline-array", "patient-inline-dictionary", "patient-plain-array",
        "patient-plain-dictionary", "patient-nsarray", "patient-nsdictionary"}) {
    SCOPED_TRACE(name);
    WatchTask task = readBack<WatchTask>(written(name));
    EXPECT_FALSE(task.patient);
    EXPECT_EQ(task.id, BoxedNumber(31));
    EXPECT_EQ(task.status, BoxedNumber(2));
  }

  // Binary dates keep their fraction; these lie beyond what 32-bit seconds
  // from 2001 hold and half a second before 2001. XML dates are whole seconds.
  WatchTask binary = readBack<WatchTask>(written("plist-dates"));
  EXPECT_EQ(binary.dueDate, utc("2100-01-01T12:00:00Z") + DateSeconds(0.25));
  EXPECT_EQ(binary.createdDate, utc("2001-01-01T00:00:00Z") - DateSeconds(0.5));
  EXPECT_EQ(binary.id, BoxedNumber(8));
  WatchTask xml = readBack<WatchTask>(written("plist-dates-xml"));
  EXPECT_EQ(xml.dueDate, utc("2100-01-01T12:00:00Z"));
  EXPECT_EQ(xml.createdDate, utc("2000-12-31T23:59:59Z"));
}

// What we write in XML is a well-formed document for any XML parser (here
// expat, under plistlib), and reads back with the same texts.
TEST_F(WatchTest, XmlArchiveIsWellFormedWhateverTheTexts) {
  WatchTask watch(*task(5, 0, 0, true));
  watch.text = "line\r\nnext\ttab <&> ]]> \"q\" 'a'";
  watch.statusDescription = "\r";
  auto data = archive(watch, archiving::PropertyListFormat::xml);
  Dump dump(data);
  EXPECT_EQ(dump.at(dump.root(), "text"), json::string_view(*watch.text));
  EXPECT_EQ(dump.at(dump.root(), "statusDescription"), "\r");
  expectSameFields(readBack<WatchTask>(data), watch);

  // A control XML 1.0 cannot spell, in a nested object: the XML form is
  // refused, the binary form holds it.
  watch.patient->roomNumber = "a\x1F.";
  EXPECT_FALSE(archiveWatchObject(watch, archiving::PropertyListFormat::xml));
  EXPECT_EQ(readBack<WatchTask>(archive(watch)).patient->roomNumber, "a\x1F.");
}

}  // namespace
}  // namespace orbelin::test
