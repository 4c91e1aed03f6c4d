#include "orbelin/records/model.h"

#include <mutex>

#include "orbelin/graph/model_catalog.h"
#include "orbelin/records/records.h"
#include "orbelin/stack/core_data_stack.h"

namespace orbelin {
namespace {

using R = FirstGenerationRecord;

// The entity of a record class, property by property in the order of its
// table, which is the order its accessors count in.
template <typename Record>
void addEntity(graph::ModelBuilder& builder) {
  static constexpr graph::AttributeType kTypes[] = {
      graph::AttributeType::String, graph::AttributeType::Integer64, graph::AttributeType::Date,
      graph::AttributeType::Transformable};
  auto entity = builder.entity<Record>(std::string(Record::Static::EntityName));
  for (const R::Property& property : Record::kProperties) {
    std::string name(property.name);
    if (property.kind == R::kToOne) {
      entity.toOne(name, std::string(property.destination), std::string(property.inverse));
    } else if (property.kind == R::kToMany) {
      entity.toMany(name, std::string(property.destination), std::string(property.inverse));
    } else {
      entity.attribute(name, kTypes[property.kind], property.optional);
    }
  }
}

template <typename... Records>
std::shared_ptr<const graph::ManagedObjectModel> buildModelOf() {
  graph::ModelBuilder builder;
  (addEntity<Records>(builder), ...);
  auto model = builder.build();
  if (!model) return nullptr;
  return *model;
}

}  // namespace

std::shared_ptr<const graph::ManagedObjectModel> buildFirstGenerationModel() {
  return buildModelOf<Patient, Task, TaskSummary, Notification, StaffMember, StaffSummary, Role,
                      Shift, Room, UserAppInfo, Allergy, Barrier, Diagnosis, Medication,
                      MedicalProblem>();
}

void registerFirstGenerationModel() {
  static std::once_flag once;
  std::call_once(once, [] {
    graph::ModelCatalog::registerModel(CoreDataStack::kModelName, &buildFirstGenerationModel);
  });
}

namespace {
// The model is known from program start, so the shared stack finds it
// whatever touches it first (a host may save before any login). Only the
// builder is registered here; the model is built on first use.
const bool registeredAtStart = (registerFirstGenerationModel(), true);
}  // namespace

}  // namespace orbelin

// Named by the records library's link options (--undefined), so that this
// object, and with it the registration above, is part of every program that
// links the records, even one that has called no record yet.
extern "C" const bool orbelin_records_model_linked = orbelin::registeredAtStart;
