// What a save writes: the differences between an object's state as last
// read and its state now.

#include <unordered_map>

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

}  // namespace orbelin::graph::detail
