#include "orbelin/graph/model_catalog.h"

#include <map>
#include <mutex>

namespace orbelin::graph {

namespace {

struct Entry {
  ModelCatalog::Builder builder;
  std::shared_ptr<const ManagedObjectModel> built;  // kept after the first load
  bool tried = false;
};

struct Catalog {
  std::mutex mutex;
  std::map<std::string, Entry> models;                                      // guarded by mutex
  std::map<std::string, std::map<std::string, Entry>> bundles;              // guarded by mutex
  std::map<std::string, std::shared_ptr<const ManagedObjectModel>> merged;  // guarded by mutex
};

Catalog& catalog() {
  static Catalog* instance = new Catalog();  // never destroyed: used from static teardown
  return *instance;
}

std::shared_ptr<const ManagedObjectModel> load(Entry& entry) {
  if (!entry.tried) {
    entry.tried = true;
    if (entry.builder) entry.built = entry.builder();
  }
  return entry.built;
}

}  // namespace

void ModelCatalog::registerModel(const std::string& name, Builder builder) {
  Catalog& c = catalog();
  std::lock_guard lock(c.mutex);
  c.models[name] = Entry{std::move(builder), nullptr, false};
}

std::shared_ptr<const ManagedObjectModel> ModelCatalog::model(const std::string& name) {
  Catalog& c = catalog();
  std::lock_guard lock(c.mutex);
  auto it = c.models.find(name);
  return it == c.models.end() ? nullptr : load(it->second);
}

void ModelCatalog::registerBundleModel(const std::string& bundleIdentifier,
                                       const std::string& modelName, Builder builder) {
  Catalog& c = catalog();
  std::lock_guard lock(c.mutex);
  c.bundles[bundleIdentifier][modelName] = Entry{std::move(builder), nullptr, false};
  c.merged.erase(bundleIdentifier);
}

void ModelCatalog::removeBundle(const std::string& bundleIdentifier) {
  Catalog& c = catalog();
  std::lock_guard lock(c.mutex);
  c.bundles.erase(bundleIdentifier);
  c.merged.erase(bundleIdentifier);
}

std::shared_ptr<const ManagedObjectModel> ModelCatalog::mergedModelFromBundle(
    const std::string& bundleIdentifier) {
  Catalog& c = catalog();
  std::lock_guard lock(c.mutex);
  if (auto it = c.merged.find(bundleIdentifier); it != c.merged.end()) return it->second;
  auto bundle = c.bundles.find(bundleIdentifier);
  if (bundle == c.bundles.end() || bundle->second.empty()) return nullptr;
  std::vector<std::shared_ptr<const ManagedObjectModel>> models;
  for (auto& [name, entry] : bundle->second) {
    auto model = load(entry);
    if (!model) return nullptr;
    models.push_back(std::move(model));
  }
  // A single model is used as it is, so its entity pointers stay the same.
  std::shared_ptr<const ManagedObjectModel> result = models.front();
  if (models.size() > 1) {
    auto merged = ManagedObjectModel::merged(models);
    if (!merged) return nullptr;
    result = *merged;
  }
  c.merged[bundleIdentifier] = result;
  return result;
}

}  // namespace orbelin::graph
