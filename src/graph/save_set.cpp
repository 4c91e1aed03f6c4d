// What a save writes: the differences between an object's state as last
// read and its state now.

#include <boost/json/serialize.hpp>
#include <cmath>
#include <functional>
#include <string_view>
#include <unordered_map>

#include "graph/object_access.h"
#include "graph/store.h"

namespace orbelin::graph::detail {

namespace {

// Small relationships are searched; large ones get a map, so a save stays
// linear in the number of members.
constexpr std::size_t kLinearSearchLimit = 32;

class Positions {
 public:
  explicit Positions(const std::vector<ManagedObject*>& members) : members_(members) {
    if (members.size() > kLinearSearchLimit)
      for (std::size_t i = 0; i < members.size(); ++i) map_.emplace(members[i], i);
  }
  // The member's position, or members.size() when it is not one.
  std::size_t find(const ManagedObject* object) const {
    if (members_.size() > kLinearSearchLimit) {
      auto it = map_.find(object);
      return it == map_.end() ? members_.size() : it->second;
    }
    for (std::size_t i = 0; i < members_.size(); ++i)
      if (members_[i] == object) return i;
    return members_.size();
  }

 private:
  const std::vector<ManagedObject*>& members_;
  std::unordered_map<const ManagedObject*, std::size_t> map_;
};

}  // namespace

MemberDiff diffMembers(const std::vector<ManagedObject*>& before,
                       const std::vector<ManagedObject*>& after) {
  MemberDiff diff;
  Positions old(before), now(after);
  for (std::size_t i = 0; i < after.size(); ++i) {
    std::size_t was = old.find(after[i]);
    if (was == before.size())
      diff.added.push_back(i);
    else if (was != i)
      diff.moved.push_back(i);
  }
  for (ManagedObject* member : before)
    if (now.find(member) == after.size()) diff.removed.push_back(member);
  return diff;
}

bool sameStoredValue(const Value& a, const Value& b, AttributeType type) {
  if (a.isNil() || b.isNil()) return a.isNil() && b.isNil();
  if (type == AttributeType::Boolean) return a.boolValue() == b.boolValue();
  return a == b;
}

std::uint64_t storedDigest(const Value& value, AttributeType type) {
  using K = Value::Kind;
  auto mix = [&value](std::uint64_t hash) {
    return hash * 0x9e3779b97f4a7c15ULL + static_cast<unsigned>(value.kind());
  };
  auto text = [](std::string_view bytes) { return std::hash<std::string_view>()(bytes); };
  auto number = [](double x) {
    if (x == 0) x = 0;  // -0.0 equals 0.0
    return std::hash<double>()(x);
  };
  if (value.isNil()) return 0x51ed27a1;
  if (type == AttributeType::Boolean) return value.boolValue() ? 0x7e1 : 0xf0;
  switch (value.kind()) {
    case K::String:
      return mix(text(*value.string()));
    case K::Integer:
    case K::Double: {
      // Integers hash exactly (past 2^53 neighbours share one double), and
      // a double holding a whole number as the integer it equals.
      auto whole = [](std::int64_t i) { return std::hash<std::int64_t>()(i) * 31 + 7; };
      if (auto i = value.integer()) return whole(*i);
      const double x = value.doubleValue();
      if (x == std::trunc(x) && std::fabs(x) < 9.2e18) return whole(static_cast<std::int64_t>(x));
      return number(x) * 31 + 7;
    }
    case K::Boolean:
      return value.boolValue() ? 0x7e1 : 0xf0;
    case K::Date:
      return mix(number(secondsSince1970(*value.date())));
    case K::Binary: {
      const Bytes& bytes = *value.binary();
      return mix(text({reinterpret_cast<const char*>(bytes.data()), bytes.size()}));
    }
    case K::Transformable:
      return mix(text(boost::json::serialize(*value.transformable())));
    case K::Nil:
      break;
  }
  return 0x51ed27a1;
}

void giveReservedKeys(SaveSet& changes) {
  for (KeyRequest& request : changes.keys) {
    std::int64_t next = request.first;
    for (ManagedObject* object : changes.inserted) {
      std::int64_t key = ObjectAccess::primaryKey(*object);
      if (key > 0 || &object->entity() != request.entity) continue;
      changes.replacedKeys.emplace_back(object, key);
      ObjectAccess::setPrimaryKey(*object, next++);
    }
  }
}

}  // namespace orbelin::graph::detail
