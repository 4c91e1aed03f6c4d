#include "orbelin/model2/managed_object_ex.h"

namespace orbelin::model2 {

std::string NSManagedObjectEx::className() const {
  return "NSManagedObjectEx";
}
std::optional<std::string> NSManagedObjectEx::externalObjectId() const {
  return std::nullopt;
}
std::optional<std::string> NSManagedObjectEx::externalObjectIdName() const {
  return std::nullopt;
}
bool NSManagedObjectEx::ignoreRelation(std::string_view) const {
  return false;
}

void NSManagedObjectEx::setRelation(std::string_view name,
                                    const std::vector<graph::ManagedObject*>& relatedObjects) {
  mutableSet(name).assign(relatedObjects);
}
void NSManagedObjectEx::setRelation(std::string_view name, graph::ManagedObject* relatedObject) {
  setObject(name, relatedObject);
}

std::string NSManagedObjectEx::ClassNameAsString(const graph::ManagedObject& object) {
  return object.entity().managedObjectClassName();
}

std::optional<std::string> NSManagedObjectEx::externalObjectIdNameOf(
    const graph::EntityDescription& entity) {
  auto prototype = entity.makeObject();
  auto* ex = dynamic_cast<NSManagedObjectEx*>(prototype.get());
  return ex ? ex->externalObjectIdName() : std::nullopt;
}

Dictionary NSManagedObjectEx::getAsDictionary() const {
  return {};
}
std::optional<std::string> NSManagedObjectEx::getAsJSONString() const {
  return std::nullopt;
}
void NSManagedObjectEx::setPropertiesFromJSONString(std::string_view) {}
void NSManagedObjectEx::setPropertiesFromDictionary(const Dictionary&) {}
NSManagedObjectEx* NSManagedObjectEx::createManagedObjectFromDictionary(
    const Dictionary&, graph::ManagedObjectContext&) {
  return nullptr;
}

}  // namespace orbelin::model2
