#include "orbelin/model2/hospital_model.h"

#include <mutex>

#include "model2/entity_definition.h"
#include "orbelin/graph/model_catalog.h"
#include "orbelin/platform/console.h"

namespace orbelin::model2 {

std::shared_ptr<const graph::ManagedObjectModel> buildHospitalModel() {
  graph::ModelBuilder builder;
  detail::describeEntities(builder);
  auto model = builder.build();
  if (!model) {
    platform::Console::log("OrbelinData: the recovery-path model is inconsistent: " +
                           model.error().description());
    return nullptr;
  }
  if (!detail::slotsMatch(**model)) return nullptr;
  return *model;
}

bool registerHospitalModel() {
  static std::once_flag once;
  std::call_once(once, [] {
    graph::ModelCatalog::registerBundleModel(graph::kFrameworkBundleIdentifier, kHospitalModelName,
                                             &buildHospitalModel);
  });
  return true;
}

}  // namespace orbelin::model2
