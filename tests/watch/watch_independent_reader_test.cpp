// Our archives read by Python's plistlib, and archives plistlib wrote read by us.
#include <cstdio>
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
  EXPECT_EQ(dump.value(root, "id"), -7);
  EXPECT_EQ(dump.value(root, "delayed").at("bool"), false);
  EXPECT_EQ(dump.value(root, "status"), 2);
  EXPECT_EQ(dump.value(root, "type"), 1);
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
  EXPECT_EQ(dump.value(patient, "id"), 42);
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

}  // namespace
}  // namespace orbelin::test
