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

namespace {
// The entities join the framework's bundle before main, so that every
// object store (hospitalStore() included) finds them whatever touches it
// first, while a test may still replace the bundle afterwards. Only the
// builder is registered here; the model is built on first use.
const bool registeredAtStart = registerHospitalModel();
}  // namespace

}  // namespace orbelin::model2

// Named by the model2 library's link options (--undefined), so that this
// object, and with it the registration above, is part of every program that
// links the entities, even one that has used none yet.
extern "C" const bool orbelin_model2_model_linked = orbelin::model2::registeredAtStart;
