#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/records/record.h"

// The five lookup records that hang off a patient: a name and the patients
// that carry it. `create(name)` always inserts a new record with that name
// and no id; the patient import makes one per text it reads, equal texts
// included. Returns null only when the stack has no context. See
// FirstGenerationRecord for ownership and threads.
namespace orbelin {

class Patient;

// Shared shape of the lookups: id (never set by an import), name, and the
// patients that carry it.
class LookupRecord : public FirstGenerationRecord {
 protected:
  // The table of a lookup: they differ only in the kind of their patients
  // relationship and its way back.
  static constexpr std::array<Property, 3> lookupProperties(Kind patients,
                                                            std::string_view inverse) {
    return {{{"id", kInteger}, {"name", kText}, {"patients", patients, {}, "Patient", inverse}}};
  }
  static consteval std::size_t at(std::string_view name) {
    return indexIn(lookupProperties(kToMany, {}), name);
  }

 public:
  std::optional<std::int64_t> id() const { return integerAt(at("id")); }
  void setId(std::optional<std::int64_t> value) { setValueAt(at("id"), value); }
  std::string name() const { return textAt(at("name")); }
  void setName(std::string value) { setValueAt(at("name"), std::move(value)); }
};

class Allergy : public LookupRecord {
 public:
  struct Static {
    static constexpr std::string_view EntityName = "Allergy";
  };
  static constexpr auto kProperties = lookupProperties(kToMany, "allergies");
  static Allergy* create(std::string_view name);
  static graph::FetchRequest fetchRequest() { return fetchRequestFor(Static::EntityName); }
  std::vector<Patient*> patients() const { return toManyAt<Patient>(at("patients")); }
};

class Barrier : public LookupRecord {
 public:
  struct Static {
    static constexpr std::string_view EntityName = "Barrier";
  };
  static constexpr auto kProperties = lookupProperties(kToMany, "barriers");
  static Barrier* create(std::string_view name);
  static graph::FetchRequest fetchRequest() { return fetchRequestFor(Static::EntityName); }
  std::vector<Patient*> patients() const { return toManyAt<Patient>(at("patients")); }
};

class Diagnosis : public LookupRecord {
 public:
  struct Static {
    static constexpr std::string_view EntityName = "Diagnosis";
  };
  static constexpr auto kProperties = lookupProperties(kToMany, "diagnoses");
  static Diagnosis* create(std::string_view name);
  static graph::FetchRequest fetchRequest() { return fetchRequestFor(Static::EntityName); }
  std::vector<Patient*> patients() const { return toManyAt<Patient>(at("patients")); }
};

class Medication : public LookupRecord {
 public:
  struct Static {
    static constexpr std::string_view EntityName = "Medication";
  };
  static constexpr auto kProperties = lookupProperties(kToMany, "medications");
  static Medication* create(std::string_view name);
  static graph::FetchRequest fetchRequest() { return fetchRequestFor(Static::EntityName); }
  std::vector<Patient*> patients() const { return toManyAt<Patient>(at("patients")); }
};

// Unlike the other lookups, a medical problem belongs to one patient: its
// `patients` relationship is to-one.
class MedicalProblem : public LookupRecord {
 public:
  struct Static {
    static constexpr std::string_view EntityName = "MedicalProblem";
  };
  static constexpr auto kProperties = lookupProperties(kToOne, "medicalProblems");
  static MedicalProblem* create(std::string_view name);
  static graph::FetchRequest fetchRequest() { return fetchRequestFor(Static::EntityName); }
  Patient* patients() const { return toOneAt<Patient>(at("patients")); }
  void setPatients(Patient* patient) { setToOneAt(at("patients"), patient); }
};

}  // namespace orbelin
