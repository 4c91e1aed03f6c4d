// `watch`: archives a task, patient or staff member of the logged-in user for
// the companion watch, or reads such an archive back.
//
//   watch task TASK_ID [--out FILE]       one of the user's tasks
//   watch patient PATIENT_ID [--out FILE] one of the user's patients
//   watch staff STAFF_ID [--out FILE]     one of the staff of the user's shift
//   watch read FILE                       prints the object, one property per line
//
// Archives go to FILE as a binary property list, or to standard output as XML.
#include <charconv>
#include <cmath>
#include <ctime>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

#include "demo.h"
#include "orbelin/stores/stores.h"
#include "orbelin/watch/watch_archive.h"
#include "report_support.h"

namespace orbelin::demo {
namespace {

struct WatchArguments {
  std::string kind;
  std::string subject;  // the id, or the file to read
  std::optional<std::filesystem::path> out;
};

std::optional<WatchArguments> parseWatchArguments(const std::vector<std::string>& command) {
  if (command.size() != 3 && command.size() != 5) return std::nullopt;
  WatchArguments arguments{command[1], command[2], std::nullopt};
  if (command.size() == 5) {
    if (command[3] != "--out" || arguments.kind == "read") return std::nullopt;
    arguments.out = command[4];
  }
  return arguments;
}

std::optional<std::int64_t> parseId(const std::string& text) {
  std::int64_t value = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

int failure(const std::string& line) {
  std::cerr << "error: " << line << "\n";
  return kExitFailure;
}

// "2026-06-14T17:30:00Z" (UTC, whole seconds; fractions as milliseconds).
std::string dateText(Date date) {
  double seconds = secondsSince1970(date);
  double whole = std::floor(seconds);
  auto time = static_cast<std::time_t>(whole);
  std::tm parts{};
  gmtime_r(&time, &parts);
  char text[64];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
  std::string result = text;
  if (auto millis = std::lround((seconds - whole) * 1000.0); millis > 0 && millis < 1000) {
    char fraction[8];
    std::snprintf(fraction, sizeof fraction, ".%03ld", millis);
    result += fraction;
  }
  return result + "Z";
}

std::string text(const std::optional<std::string>& value) {
  return value ? "\"" + *value + "\"" : "(absent)";
}
std::string text(const std::optional<Date>& value) {
  return value ? dateText(*value) : "(absent)";
}

void print(std::ostream& out, const WatchPatient& patient, const std::string& prefix) {
  out << prefix << "id: " << patient.id.description() << "\n"
      << prefix << "firstname: " << text(patient.firstname) << "\n"
      << prefix << "lastname: " << text(patient.lastname) << "\n"
      << prefix << "roomNumber: " << text(patient.roomNumber) << "\n";
}

void print(std::ostream& out, const WatchTask& task) {
  out << "class: " << WatchTask::className << "\n"
      << "id: " << task.id.description() << "\n";
  if (task.patient)
    print(out, *task.patient, "patient.");
  else
    out << "patient: (absent)\n";
  out << "text: " << text(task.text) << "\n"
      << "createdDate: " << text(task.createdDate) << "\n"
      << "dueDate: " << dateText(task.dueDate) << "\n"
      << "delayed: " << (task.delayed ? "true" : "false") << "\n"
      << "status: " << task.status.description() << "\n"
      << "statusDescription: " << text(task.statusDescription) << "\n"
      << "type: " << task.type.description() << "\n";
}

void print(std::ostream& out, const WatchStaffMember& member) {
  out << "class: " << WatchStaffMember::className << "\n"
      << "firstName: " << text(member.firstName) << "\n"
      << "lastName: " << text(member.lastName) << "\n"
      << "phoneNumber: " << text(member.phoneNumber) << "\n"
      << "image: " << text(member.image) << "\n"
      << "role: " << text(member.role) << "\n";
}

int readArchive(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) return failure("cannot open " + file.string());
  std::vector<std::uint8_t> data{std::istreambuf_iterator<char>(in),
                                 std::istreambuf_iterator<char>()};
  auto object = unarchiveWatchObject(data);
  if (!object) return failure(object.error().localizedDescription());
  std::ostringstream out;
  if (auto* task = std::get_if<WatchTask>(&*object)) print(out, *task);
  if (auto* patient = std::get_if<WatchPatient>(&*object)) {
    out << "class: " << WatchPatient::className << "\n";
    print(out, *patient, "");
  }
  if (auto* member = std::get_if<WatchStaffMember>(&*object)) print(out, *member);
  std::cout << out.str();
  return kExitSuccess;
}

template <typename T>
int writeArchive(const T& object, const WatchArguments& arguments) {
  auto format =
      arguments.out ? archiving::PropertyListFormat::binary : archiving::PropertyListFormat::xml;
  auto data = archiveWatchObject(object, format);
  if (!data) return failure(data.error().localizedDescription());
  if (!arguments.out) {
    std::cout.write(reinterpret_cast<const char*>(data->data()),
                    static_cast<std::streamsize>(data->size()));
    return kExitSuccess;
  }
  std::ofstream out(*arguments.out, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(data->data()),
            static_cast<std::streamsize>(data->size()));
  out.close();
  if (!out) return failure("cannot write " + arguments.out->string());
  return kExitSuccess;
}

// The logged-in staff member, or an error line.
std::variant<StaffMember*, std::string> login(const DemoOptions& options) {
  Awaited<StaffMember*, std::optional<Error>> reply;
  StaffStore::authentication(options.user, options.password, reply.handler())->validate();
  if (!reply.wait()) return std::string("login: no reply");
  auto& [member, error] = reply.get();
  if (error) return "login failed: " + error->localizedDescription();
  if (member == nullptr) return std::string("login failed: the reply names no staff member");
  return member;
}

// Waits for a list reply and picks the record whose id() is `id`.
template <typename Record, typename Fetch>
std::variant<Record*, std::string> findRecord(Fetch fetch, std::int64_t id,
                                              const std::string& what) {
  Awaited<std::optional<std::vector<Record*>>, std::optional<Error>> reply;
  fetch(reply.handler());
  if (!reply.wait()) return what + ": no reply";
  auto& [records, error] = reply.get();
  if (error) return what + ": " + error->localizedDescription();
  for (Record* record : records.value_or(std::vector<Record*>{}))
    if (record->id() == id) return record;
  return "no " + what + " with id " + std::to_string(id);
}

template <typename Watch, typename Record>
int archiveFound(const std::variant<Record*, std::string>& found, const WatchArguments& arguments) {
  if (auto* line = std::get_if<std::string>(&found)) return failure(*line);
  return writeArchive(Watch(*std::get<Record*>(found)), arguments);
}

}  // namespace

int runWatch(const DemoOptions& options) {
  auto arguments = parseWatchArguments(options.command);
  const bool knownKind = arguments && (arguments->kind == "task" || arguments->kind == "patient" ||
                                       arguments->kind == "staff" || arguments->kind == "read");
  auto id = arguments ? parseId(arguments->subject) : std::nullopt;
  if (!knownKind || (arguments->kind != "read" && !id)) {
    printUsage(std::cerr);
    return kExitUsage;
  }
  if (arguments->kind == "read") return readArchive(arguments->subject);
  auto member = login(options);
  if (auto* line = std::get_if<std::string>(&member)) return failure(*line);
  StaffMember* user = std::get<StaffMember*>(member);
  std::int64_t userId = user->id().value_or(0);
  if (arguments->kind == "task") {
    auto fetch = [userId](auto handler) { TaskStore::tasksForUser(userId, handler)->validate(); };
    return archiveFound<WatchTask>(findRecord<Task>(fetch, *id, "task"), *arguments);
  }
  if (arguments->kind == "patient") {
    auto fetch = [userId](auto handler) {
      PatientStore::patientsForUser(userId, handler)->validate();
    };
    return archiveFound<WatchPatient>(findRecord<Patient>(fetch, *id, "patient"), *arguments);
  }
  std::int64_t shiftId = user->shiftId().value_or(0);
  auto fetch = [shiftId](auto handler) {
    StaffStore::staffMembersForShiftId(shiftId, handler)->validate();
  };
  return archiveFound<WatchStaffMember>(findRecord<StaffMember>(fetch, *id, "staff member"),
                                        *arguments);
}

}  // namespace orbelin::demo
