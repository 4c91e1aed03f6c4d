// Outside text becomes recovery-path records here: any bytes handed to
// setPropertiesFromJSONString of a patient, and to
// createManagedObjectFromDictionary when they name an entity, must neither
// crash nor hang; what the reader stores must fit the attributes (the save
// into a real SQLite store succeeds), and a second coordinator on the same
// file must read back objects whose dictionary form is the one written.
#include <unistd.h>

#include <algorithm>
#include <boost/json/serialize.hpp>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "orbelin/graph/graph.h"
#include "orbelin/model2/hospital_model.h"
#include "orbelin/model2/managed_object_ex.h"
#include "orbelin/platform/console.h"
#include "orbelin/text/json_text.h"

namespace {

namespace fs = std::filesystem;
using namespace orbelin;

std::shared_ptr<const graph::ManagedObjectModel> hospitalModel() {
  static const auto model = model2::buildHospitalModel();
  if (!model) std::abort();
  return model;
}

// One folder per process, removed at exit.
const fs::path& scratchFolder() {
  static const fs::path folder = [] {
    fs::path made =
        fs::temp_directory_path() / ("orbelin-mapping-fuzz-" + std::to_string(::getpid()));
    fs::create_directories(made);
    static const fs::path removeAtExit = made;
    std::atexit([] {
      std::error_code ignored;
      fs::remove_all(removeAtExit, ignored);
    });
    return made;
  }();
  return folder;
}

// A writer and a reader coordinator on one file. The file starts afresh
// now and then, so that it stays small however long the run.
struct Stores {
  std::shared_ptr<graph::PersistentStoreCoordinator> writer, reader;
};
Stores& stores() {
  static Stores current;
  static int uses = 0;
  if (!current.writer || ++uses % 512 == 0) {
    current = {};
    const fs::path file = scratchFolder() / "Mapping.sqlite";
    for (const char* suffix : {"", "-wal", "-shm"}) fs::remove(file.string() + suffix);
    current.writer = std::make_shared<graph::PersistentStoreCoordinator>(hospitalModel());
    current.reader = std::make_shared<graph::PersistentStoreCoordinator>(hospitalModel());
    if (!current.writer->addPersistentStore(graph::StoreType::SQLite, file).ok() ||
        !current.reader->addPersistentStore(graph::StoreType::SQLite, file).ok())
      std::abort();
  }
  return current;
}

// The JSON of a dictionary form with every array in one order: to-many
// sets have no order of their own, and the two contexts meet their members
// in different orders.
boost::json::value canonical(const boost::json::value& value) {
  if (const auto* object = value.if_object()) {
    boost::json::object result;
    for (const auto& [key, member] : *object) result[key] = canonical(member);
    return result;
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
  const model2::Dictionary dictionary = object.getAsDictionary();
  if (!dictionary.contains(model2::ATTRIBUTE_NAME_FOR_CLASS)) std::abort();
  // Keys sorted as well: the object type keeps insertion order.
  boost::json::object sorted;
  std::vector<std::string> keys;
  for (const auto& [key, member] : dictionary) keys.emplace_back(key);
  std::sort(keys.begin(), keys.end());
  for (const auto& key : keys) sorted[key] = canonical(dictionary.at(key));
  std::string text;
  for (const auto& key : keys) text += key + "=" + boost::json::serialize(sorted[key]) + "\n";
  return text;
}

void expectReadBack(graph::ManagedObjectContext& reading,
                    const model2::NSManagedObjectEx& written) {
  auto* read = dynamic_cast<model2::NSManagedObjectEx*>(reading.objectWithID(written.objectID()));
  if (read == nullptr) std::abort();
  if (canonicalText(*read) != canonicalText(written)) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  platform::ConsoleCapture quiet;
  Stores& s = stores();
  graph::ManagedObjectContext context;
  context.setPersistentStoreCoordinator(s.writer);

  std::string_view text(reinterpret_cast<const char*>(data), size);
  auto* patient = dynamic_cast<model2::NSManagedObjectEx*>(context.insertNewObject("Patient"));
  if (!patient) std::abort();
  patient->setPropertiesFromJSONString(text);
  model2::NSManagedObjectEx* made = nullptr;
  if (auto dictionary = text::json(text))
    made = model2::NSManagedObjectEx::createManagedObjectFromDictionary(*dictionary, context);
  if (!context.save().ok()) std::abort();

  graph::ManagedObjectContext reading;
  reading.setPersistentStoreCoordinator(s.reader);
  expectReadBack(reading, *patient);
  if (made != nullptr) expectReadBack(reading, *made);
  return 0;
}
