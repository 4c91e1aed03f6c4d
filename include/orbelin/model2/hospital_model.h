#pragma once

#include <memory>

#include "orbelin/graph/model.h"

namespace orbelin::model2 {

// Name of the recovery-path model inside the framework's resource bundle.
inline constexpr const char* kHospitalModelName = "OrbelinData2";

// A new model of the twenty-one recovery-path entities, each with its class
// (managedObjectClassName() "Patient2" for entity "Patient"), attributes and
// relationships in their declared order, inverses on both sides. Every
// attribute is optional and every relationship nullifies on delete: the
// service's records are partial and nothing here owns another record's
// life. Null (with a console line) only if the description is inconsistent.
std::shared_ptr<const graph::ManagedObjectModel> buildHospitalModel();

// Adds the model to the framework's resource bundle
// (graph::kFrameworkBundleIdentifier) in graph::ModelCatalog, so that the
// object store's merged model holds these entities. It already runs at
// program start in every program that links the entities (their link
// options keep the registering object in); only code that runs before main
// (another static initializer) must call it itself. Only the first call in a
// process registers; later calls do nothing, so that a bundle replaced
// afterwards (tests) stays replaced. Any thread. Returns true.
bool registerHospitalModel();

}  // namespace orbelin::model2
