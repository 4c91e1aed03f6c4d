// Outside text becomes recovery-path records here: any bytes handed to
// setPropertiesFromJSONString of a patient, and to
// createManagedObjectFromDictionary when they name an entity, must neither
// crash nor hang; what the reader stores must fit the attributes (the save
// succeeds) and must write back out. Each input works in a fresh in-memory
// store, so memory stays bounded by the input's size.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "orbelin/graph/graph.h"
#include "orbelin/model2/hospital_model.h"
#include "orbelin/model2/managed_object_ex.h"
#include "orbelin/platform/console.h"
#include "orbelin/text/json_text.h"

namespace {

std::shared_ptr<const orbelin::graph::ManagedObjectModel> hospitalModel() {
  static const auto model = orbelin::model2::buildHospitalModel();
  if (!model) std::abort();
  return model;
}

void writeBack(const orbelin::model2::NSManagedObjectEx& object) {
  if (!object.getAsDictionary().contains(orbelin::model2::ATTRIBUTE_NAME_FOR_CLASS)) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace orbelin;
  platform::ConsoleCapture quiet;
  auto coordinator = std::make_shared<graph::PersistentStoreCoordinator>(hospitalModel());
  if (!coordinator->addPersistentStore(graph::StoreType::InMemory, {}).ok()) std::abort();
  graph::ManagedObjectContext context;
  context.setPersistentStoreCoordinator(coordinator);

  std::string_view text(reinterpret_cast<const char*>(data), size);
  auto* patient = dynamic_cast<model2::NSManagedObjectEx*>(context.insertNewObject("Patient"));
  if (!patient) std::abort();
  patient->setPropertiesFromJSONString(text);
  writeBack(*patient);
  if (auto dictionary = text::json(text)) {
    if (auto* made =
            model2::NSManagedObjectEx::createManagedObjectFromDictionary(*dictionary, context))
      writeBack(*made);
  }
  if (!context.save().ok()) std::abort();
  return 0;
}
