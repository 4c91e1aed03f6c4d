#include "orbelin/records/lookups.h"

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

}  // namespace

Allergy* Allergy::create(std::string_view name) {
  return createLookup<Allergy>(name);
}
Barrier* Barrier::create(std::string_view name) {
  return createLookup<Barrier>(name);
}
Diagnosis* Diagnosis::create(std::string_view name) {
  return createLookup<Diagnosis>(name);
}
Medication* Medication::create(std::string_view name) {
  return createLookup<Medication>(name);
}
MedicalProblem* MedicalProblem::create(std::string_view name) {
  return createLookup<MedicalProblem>(name);
}

}  // namespace orbelin
