// Service replies become stored records here: one patient's text (as
// Patient2Store::downloadPatient imports it) and a user's {"patients": [...]}
// list (as downloadPatientsForUserId does). Whatever the bytes, the import
// must neither crash nor hang, every import must be saved, and a context
// that reads the file anew must find each imported patient with the
// dictionary form that was imported.
#include <unistd.h>

#include <algorithm>
#include <boost/json/serialize.hpp>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/graph/graph.h"
#include "orbelin/model2/entities.h"
#include "orbelin/platform/console.h"
#include "orbelin/platform/host_environment.h"
#include "orbelin/stores2/object_store.h"
#include "orbelin/stores2/patient2_store.h"
#include "orbelin/text/json_text.h"

namespace {

using namespace orbelin;

// The store file lives in a fresh folder of this process.
void useScratchDocuments() {
  static const bool done = [] {
    auto folder = std::filesystem::temp_directory_path() /
                  ("orbelin-stores2-fuzz-" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder);
    platform::HostEnvironment::setDocumentsDirectory(folder);
    // The store stays open until exit; on Linux its files can go before.
    static const std::filesystem::path removeAtExit = folder;
    std::atexit([] {
      std::error_code ignored;
      std::filesystem::remove_all(removeAtExit, ignored);
    });
    return true;
  }();
  (void)done;
}

// The dictionary form with keys and arrays in one order: to-many sets have
// no order of their own, and two contexts meet their members differently.
boost::json::value canonical(const boost::json::value& value) {
  if (const auto* object = value.if_object()) {
    std::vector<std::string> keys;
    for (const auto& [key, member] : *object) keys.emplace_back(key);
    std::sort(keys.begin(), keys.end());
    boost::json::array pairs;
    for (const auto& key : keys) pairs.push_back({key, canonical(object->at(key))});
    return pairs;
  }
  if (const auto* array = value.if_array()) {
    std::vector<std::string> texts;
    for (const auto& element : *array) texts.push_back(boost::json::serialize(canonical(element)));
    std::sort(texts.begin(), texts.end());
    boost::json::array result;
    for (const auto& text : texts) result.push_back(boost::json::string(text));
    return result;
  }
  return value;
}

std::string canonicalText(const model2::NSManagedObjectEx& object) {
  return boost::json::serialize(canonical(object.getAsDictionary()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  useScratchDocuments();
  platform::ConsoleCapture quiet;
  ObjectStore& store = hospitalStore();
  store.clearLastSaveError();
  std::string_view text(reinterpret_cast<const char*>(data), size);
  std::vector<model2::Patient2*> imported;
  model2::Patient2* patient = Patient2Store::patientFromJSON(text);
  if (patient == nullptr) std::abort();
  imported.push_back(patient);
  if (auto reply = text::json(text)) {
    if (const auto* list = reply->if_contains("patients"); list && list->is_array()) {
      for (const auto& element : list->get_array()) {
        if (!element.is_object()) continue;
        model2::Patient2* listed = Patient2Store::patientFromDictionary(element.get_object());
        if (listed == nullptr) std::abort();
        imported.push_back(listed);
      }
    }
  }
  if (store.lastSaveError()) std::abort();

  // Read back through a context of its own: only these patients, from disk.
  auto background = store.backgroundQueueContext();
  graph::ManagedObjectContext reading;
  reading.setPersistentStoreCoordinator(background->persistentStoreCoordinator());
  background->performAndWait([&] {
    for (model2::Patient2* written : imported) {
      auto* read = dynamic_cast<model2::Patient2*>(reading.objectWithID(written->objectID()));
      if (read == nullptr || canonicalText(*read) != canonicalText(*written)) std::abort();
    }
    // Imported objects would pile up in the context from input to input.
    background->reset();
  });
  store.mainQueueContext()->reset();
  return 0;
}
