#pragma once

#include <functional>
#include <memory>
#include <string>

#include "orbelin/graph/model.h"

namespace orbelin::graph {

// Identifier of the framework's own resource bundle: the object store loads
// the merged model of every model registered under it.
inline constexpr const char* kFrameworkBundleIdentifier = "com.orbelin.OrbelinData";

// Where stacks find their models by name, the way the phone loads a compiled
// model from an application resource or merges every model of a bundle.
//
// A library that brings a model registers a builder for it, from code that
// certainly runs before the model is needed (static libraries drop unused
// objects, so do not rely on a static initializer alone): e.g. the records
// library calls its registration function at the top of every `create`.
// Builders run once, on the first load; every later load returns the same
// model (so entity pointers compare equal across loads). A builder that
// returns null, or a name never registered, is a missing model.
//
// Thread safety: every member may be called from any thread. Builders run
// with the catalog's lock held: they must not call the catalog.
class ModelCatalog {
 public:
  using Builder = std::function<std::shared_ptr<const ManagedObjectModel>()>;

  // Registers (or replaces, dropping a model already built) the model
  // resource `name` (e.g. "OrbelinData").
  static void registerModel(const std::string& name, Builder builder);
  // The model, or null when none is registered under `name` or its builder fails.
  static std::shared_ptr<const ManagedObjectModel> model(const std::string& name);

  // Adds the model `modelName` to the bundle `bundleIdentifier` (replacing a
  // model of that name in the bundle).
  static void registerBundleModel(const std::string& bundleIdentifier, const std::string& modelName,
                                  Builder builder);
  // Removes the bundle and everything in it (tests).
  static void removeBundle(const std::string& bundleIdentifier);
  // All models of the bundle merged into one, or null when the bundle is
  // missing, empty, a builder fails or two models share an entity name.
  static std::shared_ptr<const ManagedObjectModel> mergedModelFromBundle(
      const std::string& bundleIdentifier);
};

}  // namespace orbelin::graph
