#include "recovery_report.h"

#include <cmath>
#include <ctime>
#include <map>
#include <ostream>

#include "orbelin/stores2/object_store.h"

namespace orbelin::demo {
namespace {

using graph::ManagedObject;
using Objects = std::vector<ManagedObject*>;

std::string textOf(const ManagedObject* object, const char* key) {
  if (object == nullptr) return "";
  graph::Value value = object->value(key);
  if (auto text = value.string()) return std::string(*text);
  if (auto number = value.number()) {
    std::string written = std::to_string(*number);
    written.erase(written.find_last_not_of('0') + 1);
    if (!written.empty() && written.back() == '.') written.pop_back();
    return written;
  }
  return "";
}

std::string orDash(const std::string& text) {
  return text.empty() ? "-" : text;
}

std::string fullName(const ManagedObject* object) {
  return textOf(object, "firstName") + " " + textOf(object, "lastName");
}

void heading(std::ostream& out, const std::string& title, std::size_t count) {
  out << "\n" << title << " (" << count << ")\n";
}

// The newest stored full record of a care-team member or booklet: a
// downloaded record stands alone, while the patient's own entry is linked
// back to a recovery path (`backLink`). Null when only entries exist.
ManagedObject* storedRecord(const std::string& entity, const std::string& key,
                            const std::string& id, const char* backLink) {
  auto found = hospitalStore().fetchObjectsWithName(entity, graph::Predicate::equal(key, id));
  if (!found) return nullptr;
  for (auto it = found->rbegin(); it != found->rend(); ++it) {
    if ((*it)->objects(backLink).empty()) return *it;
  }
  return nullptr;
}

void writePatient(std::ostream& out, ManagedObject& patient) {
  ManagedObject* bed = patient.object("bed");
  ManagedObject* room = patient.object("room");
  if (room == nullptr && bed != nullptr) room = bed->object("room");
  out << "Patient " << textOf(&patient, "patientId") << ": " << fullName(&patient) << " ("
      << orDash(textOf(&patient, "gender")) << ", born "
      << dateText(patient.value("birthDate")).substr(0, 10) << ")\n";
  out << "  status " << orDash(textOf(&patient, "status")) << ", room "
      << orDash(textOf(room, "roomNumber")) << " bed " << orDash(textOf(bed, "bedNumber"))
      << ", physician " << orDash(textOf(&patient, "physicianName")) << ", acuity "
      << orDash(textOf(&patient, "acuity")) << ", " << orDash(textOf(&patient, "ambulatoryStatus"))
      << "\n";
}

void writeStay(std::ostream& out, ManagedObject* path) {
  out << "\nStay\n";
  if (path == nullptr) {
    out << "  no recovery path yet\n";
    return;
  }
  out << "  admitted " << dateText(path->value("admissionDate")) << ", discharge "
      << dateText(path->value("dischargeDate")) << " to "
      << orDash(textOf(path, "dischargeDisposition")) << " ("
      << orDash(textOf(path, "dischargeApprovalState")) << ")\n";
}

void writeAppointments(std::ostream& out, ManagedObject* path) {
  Objects appointments = path ? path->objects("appoitments") : Objects{};
  heading(out, "Appointments", appointments.size());
  for (ManagedObject* appointment : appointments) {
    out << "  " << dateText(appointment->value("dateTime")) << "  "
        << orDash(textOf(appointment, "status")) << "  " << textOf(appointment, "shortDesc");
    if (auto where = textOf(appointment, "location"); !where.empty()) out << " @ " << where;
    out << "\n";
  }
}

// The action with the latest time stamp.
ManagedObject* latestAction(ManagedObject* instruction) {
  ManagedObject* latest = nullptr;
  for (ManagedObject* action : instruction->objects("actions")) {
    auto when = action->value("timeStamp").date();
    if (latest == nullptr || (when && *when > latest->value("timeStamp").date().value_or(Date())))
      latest = action;
  }
  return latest;
}

void writeInstructions(std::ostream& out, ManagedObject* path) {
  Objects instructions = path ? path->objects("instructions") : Objects{};
  heading(out, "Instructions", instructions.size());
  for (ManagedObject* instruction : instructions) {
    out << "  " << textOf(instruction, "shortDesc") << " [" << orDash(textOf(instruction, "status"))
        << "]";
    if (auto frequency = textOf(instruction, "frequency"); !frequency.empty())
      out << " every " << orDash(textOf(instruction, "frequencyUnit")) << " " << frequency;
    if (ManagedObject* medication = instruction->object("medication"))
      out << ", " << textOf(medication, "name") << " " << textOf(medication, "dosage");
    if (ManagedObject* action = latestAction(instruction)) {
      out << "; latest " << textOf(action, "type") << " " << dateText(action->value("timeStamp"));
      if (auto comments = textOf(action, "comments"); !comments.empty())
        out << " (" << comments << ")";
    }
    out << "\n";
  }
}

void writeTests(std::ostream& out, ManagedObject* path) {
  Objects tests = path ? path->objects("medicalTests") : Objects{};
  heading(out, "Medical tests", tests.size());
  for (ManagedObject* test : tests) {
    out << "  " << dateText(test->value("dateTime")) << "  " << textOf(test, "shortDesc");
    if (!test->value("normalMin").isNil() || !test->value("normalMax").isNil())
      out << " (normal " << orDash(textOf(test, "normalMin")) << " to "
          << orDash(textOf(test, "normalMax")) << ")";
    out << "\n";
    for (ManagedObject* result : test->objects("results")) {
      out << "    " << (result->value("abnormal").boolValue() ? "ABNORMAL " : "normal   ")
          << textOf(result, "analysis") << "\n";
    }
  }
}

void writeVitals(std::ostream& out, ManagedObject& patient) {
  Objects vitals = patient.objects("vitals");
  heading(out, "Vitals", vitals.size());
  for (ManagedObject* vital : vitals) {
    ManagedObject* measurement = vital->object("measurement");
    out << "  " << textOf(vital, "type") << ": " << orDash(textOf(measurement, "text"));
    if (auto comments = textOf(vital, "comments"); !comments.empty())
      out << " (" << comments << ")";
    out << "\n";
  }
}

void writeClinicalLists(std::ostream& out, ManagedObject& patient) {
  static const std::pair<const char*, const char*> lists[] = {
      {"allergies", "Allergies"},         {"diagnoses", "Diagnoses"},
      {"barriers", "Barriers"},           {"diets", "Diets"},
      {"symptoms", "Symptoms"},           {"immunizations", "Immunizations"},
      {"roundingNotes", "Rounding notes"}};
  out << "\nClinical lists\n";
  for (const auto& [key, title] : lists) {
    Objects entries = patient.objects(key);
    std::sort(entries.begin(), entries.end(), [](ManagedObject* a, ManagedObject* b) {
      return a->value("date").date().value_or(Date()) < b->value("date").date().value_or(Date());
    });
    out << "  " << title << ":";
    if (entries.empty()) out << " none";
    for (std::size_t i = 0; i < entries.size(); ++i)
      out << (i == 0 ? " " : "; ") << textOf(entries[i], "value") << " ("
          << dateText(entries[i]->value("date")).substr(0, 10) << ")";
    out << "\n";
  }
}

// Care-team members and booklets by identifier, in identifier order (the
// relationships are unordered sets).
Objects byIdentifier(Objects members, const char* key) {
  std::sort(members.begin(), members.end(),
            [key](ManagedObject* a, ManagedObject* b) { return textOf(a, key) < textOf(b, key); });
  return members;
}

void writeCareTeam(std::ostream& out, ManagedObject* path) {
  Objects team = byIdentifier(path ? path->objects("careTeam") : Objects{}, "staffId");
  heading(out, "Care team", team.size());
  for (ManagedObject* entry : team) {
    const std::string id = textOf(entry, "staffId");
    ManagedObject* full = storedRecord("StaffMember", "staffId", id, "careMemberIn");
    ManagedObject* shown = full ? full : entry;
    out << "  " << fullName(shown) << ", " << orDash(textOf(shown, "role")) << ", "
        << orDash(textOf(shown, "phoneNumber"));
    if (full == nullptr) out << " (full record not downloaded)";
    out << "\n";
  }
}

void writeBooklets(std::ostream& out, ManagedObject* path) {
  Objects booklets =
      byIdentifier(path ? path->objects("informationBooklets") : Objects{}, "bookletId");
  heading(out, "Information booklets", booklets.size());
  for (ManagedObject* entry : booklets) {
    const std::string id = textOf(entry, "bookletId");
    ManagedObject* full = storedRecord("InformationBooklet", "bookletId", id, "recoveryPaths");
    out << "  " << textOf(full ? full : entry, "title");
    if (full == nullptr) {
      out << " (full record not downloaded)\n";
      continue;
    }
    out << "\n";
    for (ManagedObject* section : full->objects("sections"))
      out << "    " << textOf(section, "title") << " [" << textOf(section, "category") << ", "
          << section->objects("multiMedias").size() << " media]\n";
  }
}

void writeCounts(std::ostream& out) {
  std::map<std::string, std::size_t> counts;
  if (auto model = hospitalStore().model()) {
    for (const auto& entity : model->entities()) {
      auto found = hospitalStore().fetchObjectsWithName(entity->name());
      if (found && !found->empty()) counts[entity->name()] = found->size();
    }
  }
  out << "\nObjects in the store\n ";
  for (const auto& [name, count] : counts) out << " " << name << " " << count;
  out << "\n";
}

}  // namespace

std::string dateText(const graph::Value& value) {
  auto date = value.date();
  if (!date || !isInDateRange(*date)) return "-";
  auto seconds = static_cast<std::time_t>(std::floor(secondsSince1970(*date)));
  std::tm local{};
  if (localtime_r(&seconds, &local) == nullptr) return "-";
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &local);
  return text;
}

void writeRecoveryReport(std::ostream& out, graph::ManagedObject& patient) {
  ManagedObject* path = patient.object("recoveryPath");
  writePatient(out, patient);
  writeStay(out, path);
  writeAppointments(out, path);
  writeInstructions(out, path);
  writeTests(out, path);
  writeVitals(out, patient);
  writeClinicalLists(out, patient);
  writeCareTeam(out, path);
  writeBooklets(out, path);
  writeCounts(out);
}

}  // namespace orbelin::demo
