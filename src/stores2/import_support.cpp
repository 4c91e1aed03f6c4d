#include "import_support.h"

namespace orbelin::stores2_internal {

std::vector<std::string> memberIdentifiers(model2::Patient2* patient, const std::string& relation,
                                           const std::string& identifier) {
  std::vector<std::string> identifiers;
  if (patient == nullptr) return identifiers;
  graph::ManagedObject* path = patient->object("recoveryPath");
  if (path == nullptr) return identifiers;
  for (graph::ManagedObject* member : path->objects(relation)) {
    graph::Value value = member->value(identifier);
    if (auto text = value.string(); text && !text->empty()) identifiers.emplace_back(*text);
  }
  return identifiers;
}

}  // namespace orbelin::stores2_internal
