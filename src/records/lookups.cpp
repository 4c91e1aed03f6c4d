#include "orbelin/records/lookups.h"

#include "orbelin/records/patient.h"
#include "records/import_support.h"

namespace orbelin {
namespace {

template <typename Lookup>
Lookup* createLookup(std::string_view name) {
  records_detail::ImportScope scope;
  auto* lookup = scope.insert<Lookup>(Lookup::Static::EntityName);
  if (lookup) lookup->setName(std::string(name));
  return lookup;
}

template <typename Lookup>
graph::FetchRequest lookupFetchRequest() {
  registerFirstGenerationModel();
  return graph::FetchRequest(std::string(Lookup::Static::EntityName));
}

}  // namespace

Allergy* Allergy::create(std::string_view name) {
  return createLookup<Allergy>(name);
}
graph::FetchRequest Allergy::fetchRequest() {
  return lookupFetchRequest<Allergy>();
}
std::vector<Patient*> Allergy::patients() const {
  return toManyAt<Patient>(kPatients);
}

Barrier* Barrier::create(std::string_view name) {
  return createLookup<Barrier>(name);
}
graph::FetchRequest Barrier::fetchRequest() {
  return lookupFetchRequest<Barrier>();
}
std::vector<Patient*> Barrier::patients() const {
  return toManyAt<Patient>(kPatients);
}

Diagnosis* Diagnosis::create(std::string_view name) {
  return createLookup<Diagnosis>(name);
}
graph::FetchRequest Diagnosis::fetchRequest() {
  return lookupFetchRequest<Diagnosis>();
}
std::vector<Patient*> Diagnosis::patients() const {
  return toManyAt<Patient>(kPatients);
}

Medication* Medication::create(std::string_view name) {
  return createLookup<Medication>(name);
}
graph::FetchRequest Medication::fetchRequest() {
  return lookupFetchRequest<Medication>();
}
std::vector<Patient*> Medication::patients() const {
  return toManyAt<Patient>(kPatients);
}

MedicalProblem* MedicalProblem::create(std::string_view name) {
  return createLookup<MedicalProblem>(name);
}
graph::FetchRequest MedicalProblem::fetchRequest() {
  return lookupFetchRequest<MedicalProblem>();
}
Patient* MedicalProblem::patients() const {
  return toOneAt<Patient>(kPatients);
}
void MedicalProblem::setPatients(Patient* patient) {
  setObjectAt(kPatients, patient);
}

}  // namespace orbelin
