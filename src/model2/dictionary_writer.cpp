#include <algorithm>
#include <cstring>
#include <deque>
#include <span>
#include <string>
#include <typeinfo>
#include <unordered_map>
#include <vector>

#include <boost/json/array.hpp>
#include <boost/json/value.hpp>

#include "model2/date_text.h"
#include "model2/dictionary_mapping.h"
#include "orbelin/text/json_text.h"
#include "text/json_writer.h"

namespace orbelin::model2::detail {
namespace {

namespace json = boost::json;

std::optional<json::value> attributeValue(const graph::Value& value) {
  using K = graph::Value::Kind;
  switch (value.kind()) {
    case K::Nil:
      return std::nullopt;
    case K::String:
      return json::value(*value.string());
    case K::Integer:
      return json::value(value.integerValue());
    case K::Double:
      return json::value(value.doubleValue());
    case K::Boolean:
      return json::value(value.boolValue());
    case K::Date: {
      auto text = formatDateTime(*value.date());
      if (!text) return std::nullopt;
      return json::value(*text);
    }
    case K::Binary: {
      json::array bytes;
      for (std::uint8_t byte : *value.binary()) bytes.emplace_back(static_cast<std::int64_t>(byte));
      return json::value(std::move(bytes));
    }
    case K::Transformable:
      return *value.transformable();
  }
  return std::nullopt;
}

// Walks the graph from one object. The objects on the current path are
// remembered, so a relationship cycle that no identifier or ignored
// relationship breaks ends at the object that closes it, and the path never
// grows past the nesting limit.
class Writer {
 public:
  Dictionary write(const graph::ManagedObject& object) {
    path_.push_back(&object);
    const auto* ex = dynamic_cast<const NSManagedObjectEx*>(&object);
    Dictionary dictionary;
    dictionary[ATTRIBUTE_NAME_FOR_CLASS] = ex ? ex->className() : object.entity().name();
    object.readValues([&](std::span<const graph::Value> values) {
      writeProperties(object, ex, values, dictionary);
    });
    path_.pop_back();
    return dictionary;
  }

 private:
  void writeProperties(const graph::ManagedObject& object, const NSManagedObjectEx* ex,
                       std::span<const graph::Value> values, Dictionary& dictionary) {
    const auto& entity = object.entity();
    for (const graph::PropertyRef& property : entity.properties()) {
      if (property.isAttribute) {
        const auto& attribute = entity.attributes()[property.index];
        if (attribute.index >= values.size()) continue;
        if (auto value = attributeValue(values[attribute.index]))
          dictionary[attribute.name] = std::move(*value);
        continue;
      }
      const auto& relationship = entity.relationships()[property.index];
      if (ex && ex->ignoreRelation(relationship.name)) continue;
      writeRelationship(object, relationship, dictionary);
    }
  }

  void writeRelationship(const graph::ManagedObject& object,
                         const graph::RelationshipDescription& relationship,
                         Dictionary& dictionary) {
    if (relationship.toMany) {
      json::array members;
      for (graph::ManagedObject* member : object.objects(relationship.name)) {
        if (auto value = related(*member)) members.push_back(std::move(*value));
      }
      dictionary[relationship.name] = std::move(members);
    } else if (graph::ManagedObject* member = object.objectAt(relationship.index)) {
      if (auto value = related(*member)) dictionary[relationship.name] = std::move(*value);
    }
  }

  std::optional<json::value> related(const graph::ManagedObject& member) {
    if (const auto* ex = dynamic_cast<const NSManagedObjectEx*>(&member)) {
      if (auto id = ex->externalObjectId()) return json::value(*id);
    }
    bool onPath = std::find(path_.begin(), path_.end(), &member) != path_.end();
    if (onPath || path_.size() > static_cast<std::size_t>(NSManagedObjectEx::kMaxDictionaryDepth))
      return std::nullopt;
    return json::value(write(member));
  }

  std::vector<const graph::ManagedObject*> path_;
};

// The same walk as Writer, writing pretty JSON text as it goes instead of a
// dictionary that is then written: members come out in the order the
// dictionary would hold them, each value spelled by the same JSON writer.
class TextWriter {
 public:
  TextWriter(std::string& buffer, std::size_t start) : json_(buffer, start, true) {}

  enum class Outcome { kWritten, kUnwritable, kNeedsDictionary };

  Outcome write(const graph::ManagedObject& object) {
    bool written = writeObject(object, asEx(object), 0);
    end_ = json_.end();
    if (written) return Outcome::kWritten;
    return needsDictionary_ ? Outcome::kNeedsDictionary : Outcome::kUnwritable;
  }
  // The offset just past the text, after write().
  std::size_t end() const { return end_; }

 private:
  // What the walk needs to know of an entity, worked out once per export.
  struct Layout {
    // False when two members would share a key (a property named
    // "entityName", or two properties of one name): a dictionary keeps one
    // of them, in the place of the first, which only the dictionary knows.
    bool distinctKeys = true;
    // Per property, in the entity's order: the quoted key and separator,
    // or "" when the name is not UTF-8 (JSON cannot hold that member).
    std::vector<std::string> keys;
    // The fixed text around the values of an object written `depth` levels
    // down, made once per depth: the opening up to the class name's value,
    // per property what comes before its value (comma, line break,
    // indentation and key; "" where the key is), and the closing.
    struct Frame {
      std::size_t depth = 0;
      std::string open;
      std::vector<std::string> heads;
      std::string close;
    };
    std::deque<Frame> frames;  // a deque: frames in use stay put as others are added
  };

  static std::string indented(std::size_t depth) { return "\n" + std::string(depth * 2, ' '); }

  const Layout::Frame& frameOf(Layout& layout, std::size_t depth) {
    for (const Layout::Frame& frame : layout.frames) {
      if (frame.depth == depth) return frame;
    }
    static const std::string kClassKey = quotedKey(ATTRIBUTE_NAME_FOR_CLASS);
    Layout::Frame frame;
    frame.depth = depth;
    frame.open = "{" + indented(depth + 1) + kClassKey;
    for (const std::string& key : layout.keys)
      frame.heads.push_back(key.empty() ? std::string() : "," + indented(depth + 1) + key);
    frame.close = indented(depth) + "}";
    layout.frames.push_back(std::move(frame));
    return layout.frames.back();
  }

  // The key as written before a member's value; "" when it is not UTF-8.
  static std::string quotedKey(std::string_view name) {
    std::string key;
    key.reserve(name.size() + 8);
    text::detail::JsonWriter writer(key, true);
    if (!writer.string(name)) return "";
    writer.keySeparator();
    writer.finish();
    return key;
  }

  Layout& layoutOf(const graph::EntityDescription& entity) {
    // Siblings share an entity: the last one asked for is checked first.
    if (lastEntity_ == &entity) return *lastLayout_;
    Layout& layout = findOrMakeLayout(entity);
    lastEntity_ = &entity;
    lastLayout_ = &layout;
    return layout;
  }

  Layout& findOrMakeLayout(const graph::EntityDescription& entity) {
    auto found = layouts_.find(&entity);
    if (found != layouts_.end()) return found->second;
    Layout layout;
    std::vector<std::string_view> names{ATTRIBUTE_NAME_FOR_CLASS};
    for (const graph::PropertyRef& property : entity.properties()) {
      const std::string& name = property.isAttribute ? entity.attributes()[property.index].name
                                                     : entity.relationships()[property.index].name;
      if (std::find(names.begin(), names.end(), name) != names.end()) layout.distinctKeys = false;
      names.push_back(name);
      layout.keys.push_back(quotedKey(name));
    }
    return layouts_.emplace(&entity, std::move(layout)).first->second;
  }

  // `ex`: the object as an NSManagedObjectEx, or null.
  bool writeObject(const graph::ManagedObject& object, const NSManagedObjectEx* ex,
                   std::size_t depth) {
    const auto& entity = object.entity();
    Layout& layout = layoutOf(entity);
    if (!layout.distinctKeys) {
      needsDictionary_ = true;
      return false;
    }
    const Layout::Frame& frame = frameOf(layout, depth);
    path_.push_back(&object);
    json_.raw(frame.open);
    if (!json_.string(ex ? ex->className() : entity.name())) return false;
    // The walk below reads every value and follows relationships, so the
    // context's lock is taken once here rather than once per value.
    bool written = false;
    object.readValues([&](std::span<const graph::Value> values) {
      written = writeProperties(object, ex, frame, values, depth);
    });
    if (!written) return false;
    json_.raw(frame.close);
    path_.pop_back();
    return true;
  }

  bool writeProperties(const graph::ManagedObject& object, const NSManagedObjectEx* ex,
                       const Layout::Frame& frame, std::span<const graph::Value> values,
                       std::size_t depth) {
    static const graph::Value kNil;  // a fault whose row is gone has no values
    const auto& entity = object.entity();
    const auto& properties = entity.properties();
    for (std::size_t i = 0; i < properties.size(); ++i) {
      const graph::PropertyRef& property = properties[i];
      if (property.isAttribute) {
        std::size_t index = entity.attributes()[property.index].index;
        const graph::Value& value = index < values.size() ? values[index] : kNil;
        if (!writeAttribute(value, frame.heads[i], depth + 1)) return false;
        continue;
      }
      const auto& relationship = entity.relationships()[property.index];
      if (ex && ex->ignoreRelation(relationship.name)) continue;
      if (!writeRelationship(object, relationship, frame.heads[i], depth + 1)) return false;
    }
    return true;
  }

  // Starts a member (never the first: "entityName" is) with its head.
  bool member(const std::string& head) {
    if (head.empty()) return false;
    json_.raw(head);
    return true;
  }

  bool writeAttribute(const graph::Value& value, const std::string& head, std::size_t depth) {
    using K = graph::Value::Kind;
    switch (value.kind()) {
      case K::Nil:
        return true;
      case K::String:
        return member(head) && json_.string(*value.string());
      case K::Integer:
        return member(head) && json_.integer(value.integerValue());
      case K::Double:
        return member(head) && json_.number(value.doubleValue());
      case K::Boolean:
        if (!member(head)) return false;
        json_.boolean(value.boolValue());
        return true;
      case K::Date: {
        char text[kDateTimeTextCapacity];
        std::size_t length = formatDateTime(*value.date(), text);
        if (length == 0) return true;  // no text: no member, as in the dictionary
        if (!member(head)) return false;
        // Digits, dashes, colons and a space: nothing to escape.
        char* out = json_.room(length + 2);
        out[0] = '"';
        std::memcpy(out + 1, text, length);
        out[length + 1] = '"';
        json_.advance(length + 2);
        return true;
      }
      case K::Binary: {
        if (!member(head)) return false;
        const graph::Bytes& bytes = *value.binary();
        json_.open('[');
        for (std::size_t i = 0; i < bytes.size(); ++i) {
          json_.beginMember(i == 0, depth + 1);
          json_.integer(bytes[i]);
        }
        json_.close(']', depth, !bytes.empty());
        return true;
      }
      case K::Transformable:
        return member(head) && json_.value(*value.transformable(), depth);
    }
    return true;
  }

  bool writeRelationship(const graph::ManagedObject& object,
                         const graph::RelationshipDescription& relationship,
                         const std::string& head, std::size_t depth) {
    if (relationship.toMany) {
      if (!member(head)) return false;
      json_.open('[');
      bool any = false;
      auto& owner = const_cast<graph::ManagedObject&>(object);
      for (graph::ManagedObject* related : owner.mutableSetAt(relationship.index).objects()) {
        Related kind = classify(*related);
        if (kind.skip) continue;
        json_.beginMember(!any, depth + 1);
        any = true;
        if (!writeRelated(*related, kind, depth + 1)) return false;
      }
      json_.close(']', depth, any);
      return true;
    }
    graph::ManagedObject* related = object.objectAt(relationship.index);
    if (!related) return true;
    Related kind = classify(*related);
    if (kind.skip) return true;
    return member(head) && writeRelated(*related, kind, depth);
  }

  // How a related object is written: by its identifier, nested, or not at all.
  struct Related {
    const NSManagedObjectEx* ex = nullptr;
    std::optional<std::string> id;
    bool skip = false;
  };

  Related classify(const graph::ManagedObject& related) {
    Related kind;
    kind.ex = asEx(related);
    if (kind.ex) {
      kind.id = kind.ex->externalObjectId();
      if (kind.id) return kind;
    }
    bool onPath = std::find(path_.begin(), path_.end(), &related) != path_.end();
    kind.skip =
        onPath || path_.size() > static_cast<std::size_t>(NSManagedObjectEx::kMaxDictionaryDepth);
    return kind;
  }

  bool writeRelated(const graph::ManagedObject& related, const Related& kind, std::size_t depth) {
    if (kind.id) return json_.string(*kind.id);
    return writeObject(related, kind.ex, depth);
  }

  // The object as an NSManagedObjectEx, or null. A graph holds objects of a
  // few classes: per class, once a cast found the plain downcast to give the
  // same object, the downcast is used (a cast compares class names).
  const NSManagedObjectEx* asEx(const graph::ManagedObject& object) {
    const std::type_info* type = &typeid(object);
    for (const KnownClass& known : knownClasses_) {
      if (known.type == type) {
        return known.isEx ? static_cast<const NSManagedObjectEx*>(&object) : nullptr;
      }
    }
    const auto* ex = dynamic_cast<const NSManagedObjectEx*>(&object);
    if (!ex || ex == static_cast<const NSManagedObjectEx*>(&object))
      knownClasses_.push_back({type, ex != nullptr});
    return ex;
  }

  struct KnownClass {
    const std::type_info* type;
    bool isEx;
  };

  text::detail::JsonWriter json_;
  std::vector<KnownClass> knownClasses_;
  std::vector<const graph::ManagedObject*> path_;
  std::unordered_map<const graph::EntityDescription*, Layout> layouts_;
  const graph::EntityDescription* lastEntity_ = nullptr;
  Layout* lastLayout_ = nullptr;
  bool needsDictionary_ = false;
  std::size_t end_ = 0;
};

}  // namespace

Dictionary writeDictionary(const graph::ManagedObject& object) {
  return Writer().write(object);
}

std::optional<std::size_t> writePrettyJson(const graph::ManagedObject& object, std::string& buffer,
                                           std::size_t start) {
  TextWriter writer(buffer, start);
  switch (writer.write(object)) {
    case TextWriter::Outcome::kWritten:
      return writer.end();
    case TextWriter::Outcome::kUnwritable:
      return std::nullopt;
    case TextWriter::Outcome::kNeedsDictionary:
      break;
  }
  auto text = text::prettyJsonString(boost::json::value(writeDictionary(object)));
  if (!text) return std::nullopt;
  buffer.resize(start);
  buffer += *text;
  return buffer.size();
}

}  // namespace orbelin::model2::detail
