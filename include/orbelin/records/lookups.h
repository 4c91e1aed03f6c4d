#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/graph/fetch_request.h"
#include "orbelin/records/record.h"

// The five lookup records that hang off a patient: a name and the patients
// that carry it. `create(name)` always inserts a new record with that name
// and no id; the patient import makes one per text it reads, equal texts
// included. Returns null only when the stack has no context. See
// FirstGenerationRecord for ownership and threads.
namespace orbelin {

class Patient;

// Shared shape of the lookups: id (never set by an import) and name.
class LookupRecord : public FirstGenerationRecord {
 public:
  std::optional<std::int64_t> id() const { return integerAt(kId); }
  void setId(std::optional<std::int64_t> value) { setValueAt(kId, value); }
  std::string name() const { return textAt(kName); }
  void setName(std::string value) { setValueAt(kName, std::move(value)); }

  enum AttributeIndex : std::size_t { kId, kName, kAttributeCount };
  enum RelationshipIndex : std::size_t { kPatients, kRelationshipCount };
};

class Allergy : public LookupRecord {
 public:
  struct Static {
    static constexpr std::string_view EntityName = "Allergy";
  };
  static Allergy* create(std::string_view name);
  static graph::FetchRequest fetchRequest();
  std::vector<Patient*> patients() const;
};

class Barrier : public LookupRecord {
 public:
  struct Static {
    static constexpr std::string_view EntityName = "Barrier";
  };
  static Barrier* create(std::string_view name);
  static graph::FetchRequest fetchRequest();
  std::vector<Patient*> patients() const;
};

class Diagnosis : public LookupRecord {
 public:
  struct Static {
    static constexpr std::string_view EntityName = "Diagnosis";
  };
  static Diagnosis* create(std::string_view name);
  static graph::FetchRequest fetchRequest();
  std::vector<Patient*> patients() const;
};

class Medication : public LookupRecord {
 public:
  struct Static {
    static constexpr std::string_view EntityName = "Medication";
  };
  static Medication* create(std::string_view name);
  static graph::FetchRequest fetchRequest();
  std::vector<Patient*> patients() const;
};

// Unlike the other lookups, a medical problem belongs to one patient: its
// `patients` relationship is to-one.
class MedicalProblem : public LookupRecord {
 public:
  struct Static {
    static constexpr std::string_view EntityName = "MedicalProblem";
  };
  static MedicalProblem* create(std::string_view name);
  static graph::FetchRequest fetchRequest();
  Patient* patients() const;
  void setPatients(Patient* patient);
};

}  // namespace orbelin
