#include "orbelin/model2/managed_object_ex.h"

#include <boost/json/value.hpp>

#include "model2/dictionary_mapping.h"
#include "orbelin/platform/console.h"
#include "orbelin/text/json_reader.h"
#include "orbelin/text/json_text.h"

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
  const graph::RelationshipDescription* relationship = entity().relationship(name);
  if (relationship && relationship->toMany) {
    // setRelation(name, {object}) lands here; take it as the one-member list.
    std::vector<graph::ManagedObject*> members;
    if (relatedObject) members.push_back(relatedObject);
    return setRelation(name, members);
  }
  setObject(name, relatedObject);
}

std::string NSManagedObjectEx::ClassNameAsString(const graph::ManagedObject& object) {
  return object.entity().managedObjectClassName();
}

std::optional<std::string> NSManagedObjectEx::externalObjectIdNameOf(
    const graph::EntityDescription& entity) {
  auto prototype = entity.makeObject();
  const auto* ex = dynamic_cast<const NSManagedObjectEx*>(prototype.get());
  return ex ? ex->externalObjectIdName() : std::nullopt;
}

Dictionary NSManagedObjectEx::getAsDictionary() const {
  return detail::writeDictionary(*this);
}

std::optional<std::string> NSManagedObjectEx::getAsJSONString() const {
  constexpr std::string_view kPrefix = "jsonString = ";
  // The console line is written once, into a buffer this thread keeps (so a
  // large text lands in memory already in use, with no clearing), and the
  // text is copied out of it once. A host's console sink that exports again
  // on this thread gets a buffer of its own, leaving the line it was handed
  // intact.
  constexpr std::size_t kKeptBufferBytes = std::size_t{8} << 20;
  thread_local std::string kept;
  thread_local bool keptInUse = false;
  struct Lease {
    bool active = !keptInUse;
    Lease() { keptInUse = true; }
    ~Lease() {
      if (!active) return;
      keptInUse = false;
      if (kept.capacity() > kKeptBufferBytes) std::string().swap(kept);
    }
  } lease;
  std::string own;
  std::string& buffer = lease.active ? kept : own;
  if (buffer.size() < kPrefix.size()) buffer.resize(kPrefix.size());
  buffer.replace(0, kPrefix.size(), kPrefix);
  std::optional<std::string> text;
  if (auto end = detail::writePrettyJson(*this, buffer, kPrefix.size())) {
    std::string_view line(buffer.data(), *end);
    platform::Console::log(line);
    text.emplace(line.substr(kPrefix.size()));
  } else {
    platform::Console::log(
        "Got an error: the dictionary holds a value that JSON cannot represent (a number that "
        "is not finite, text that is not UTF-8, or nesting too deep)");
    platform::Console::log("jsonString = nil");
  }
  return text;
}

void NSManagedObjectEx::setPropertiesFromJSONString(std::string_view text) {
  auto dictionary = text::json(text, text::documentArena(text));  // read once, then dropped
  if (!dictionary) {
    // Text that is not UTF-8 is dropped without a word, as the platform's
    // string-to-data conversion would (checked only on failure: the parser
    // refuses such text anyway).
    if (!text::data(text)) return;
    platform::Console::log(
        "NSManagedObjectEx:setPropertiesFromJSONString: The text is not a JSON object; nothing "
        "changed");
    return;
  }
  setPropertiesFromDictionary(*dictionary);
}

void NSManagedObjectEx::setPropertiesFromDictionary(const Dictionary& dictionary) {
  detail::readDictionary(*this, dictionary, 0);
}

NSManagedObjectEx* NSManagedObjectEx::createManagedObjectFromDictionary(
    const Dictionary& dictionary, graph::ManagedObjectContext& context) {
  const auto* name = dictionary.if_contains(ATTRIBUTE_NAME_FOR_CLASS);
  auto coordinator = context.persistentStoreCoordinator();
  const graph::EntityDescription* entity =
      name && name->is_string() && coordinator
          ? coordinator->managedObjectModel()->entity(std::string_view(name->get_string()))
          : nullptr;
  if (!entity || !dynamic_cast<NSManagedObjectEx*>(entity->makeObject().get())) {
    platform::Console::log(
        "NSManagedObjectEx:createManagedObjectFromDictionary: The dictionary names no entity of "
        "this model with a dictionary mapping; nothing created");
    return nullptr;
  }
  auto* object = dynamic_cast<NSManagedObjectEx*>(context.insertNewObject(*entity));
  if (object) object->setPropertiesFromDictionary(dictionary);
  return object;
}

}  // namespace orbelin::model2
