#pragma once

// Typed reads and the setProperties writer shared by the entity classes.

#include <concepts>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/model2/entities.h"

namespace orbelin::model2 {

// Attribute reads: absent when the attribute holds no value of that kind.
std::optional<std::string> textValue(const graph::ManagedObject& object, std::string_view key);
std::optional<Date> dateValue(const graph::ManagedObject& object, std::string_view key);
std::optional<bool> boolValue(const graph::ManagedObject& object, std::string_view key);
std::optional<std::int32_t> int32Value(const graph::ManagedObject& object, std::string_view key);
std::optional<double> doubleValue(const graph::ManagedObject& object, std::string_view key);
std::optional<graph::Bytes> bytesValue(const graph::ManagedObject& object, std::string_view key);
std::optional<Dictionary> dictionaryValue(const graph::ManagedObject& object, std::string_view key);

template <typename T>
T* relatedObject(const graph::ManagedObject& object, std::string_view key) {
  return dynamic_cast<T*>(object.object(key));
}

template <typename T>
std::vector<T*> relatedObjects(const graph::ManagedObject& object, std::string_view key) {
  std::vector<T*> typed;
  for (graph::ManagedObject* member : object.objects(key))
    if (T* cast = dynamic_cast<T*>(member)) typed.push_back(cast);
  return typed;
}

bool containsName(std::span<const std::string_view> names, std::string_view name);

// Applies setProperties' rule to one argument at a time: a required value is
// always written, an absent optional one leaves the property as it is, a
// vocabulary case is written as its raw value, a to-one object is linked and
// a list replaces the whole relationship (both through setRelation, so the
// inverses follow).
class PropertyWriter {
 public:
  explicit PropertyWriter(NSManagedObjectEx& object) : object_(object) {}

  template <typename T>
  void set(std::string_view key, const Required<T>& value) {
    write(key, value.get());
  }
  template <typename T>
  void set(std::string_view key, const std::optional<T>& value) {
    if (value) write(key, *value);
  }
  template <std::derived_from<graph::ManagedObject> T>
  void set(std::string_view key, T* object) {
    if (object != nullptr) write(key, object);
  }

 private:
  // One overload per argument type, so that nothing converts on the way.
  void write(std::string_view key, const std::string& text) { object_.setValue(key, text); }
  void write(std::string_view key, Date date) { object_.setValue(key, date); }
  void write(std::string_view key, bool flag) { object_.setValue(key, flag); }
  void write(std::string_view key, std::int32_t number) { object_.setValue(key, number); }
  void write(std::string_view key, double number) { object_.setValue(key, number); }
  void write(std::string_view key, const graph::Bytes& bytes) { object_.setValue(key, bytes); }
  void write(std::string_view key, const Dictionary& dictionary) {
    object_.setValue(key, boost::json::value(dictionary));
  }
  template <Vocabulary E>
  void write(std::string_view key, E value) {
    object_.setValue(key, std::string(rawValue(value)));
  }
  template <std::derived_from<graph::ManagedObject> T>
  void write(std::string_view key, T* object) {
    object_.setRelation(key, static_cast<graph::ManagedObject*>(object));
  }
  template <std::derived_from<graph::ManagedObject> T>
  void write(std::string_view key, const std::vector<T*>& objects) {
    object_.setRelation(key, std::vector<graph::ManagedObject*>(objects.begin(), objects.end()));
  }

  NSManagedObjectEx& object_;
};

}  // namespace orbelin::model2
