#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/graph/value.h"

namespace orbelin::graph {

class ManagedObject;

// True when `text` matches the wildcard `pattern`: `*` matches any run of
// characters (also none), `?` exactly one; everything else, the dot included,
// stands for itself. Case-sensitive unless caseInsensitive (ASCII folding).
bool wildcardMatch(std::string_view pattern, std::string_view text, bool caseInsensitive = false);

// A typed condition on an object's attributes. There is no string parser:
// build predicates from these factories.
//
//   auto p = Predicate::equal("id", 7) && Predicate::like("lastName", "R*");
//
// Comparisons: numbers compare numerically (integers with doubles), texts
// byte-wise, dates in time, truth values as 0/1. A nil attribute, or values
// of different kinds, satisfy only notEqual (and equal to a nil Value).
//
// Thread safety: a plain value (the function of `matching` is shared and must
// itself be safe to call from the thread that fetches).
class Predicate {
 public:
  static Predicate equal(std::string key, Value value);
  static Predicate notEqual(std::string key, Value value);
  static Predicate less(std::string key, Value value);
  static Predicate lessOrEqual(std::string key, Value value);
  static Predicate greater(std::string key, Value value);
  static Predicate greaterOrEqual(std::string key, Value value);
  // Wildcard match of a text attribute (see wildcardMatch); non-text never matches.
  static Predicate like(std::string key, std::string pattern, bool caseInsensitive = false);
  // The attribute equals one of the values.
  static Predicate in(std::string key, std::vector<Value> values);
  // All of the given predicates (true when empty).
  static Predicate all(std::vector<Predicate> predicates);
  // Any of the given predicates (false when empty).
  static Predicate any(std::vector<Predicate> predicates);
  // The opposite of the predicate.
  static Predicate negation(Predicate predicate);
  // A user function over the object, called with the context's lock held:
  // it may read the object and its relationships, not other contexts.
  static Predicate matching(std::function<bool(const ManagedObject&)> function);

  bool evaluate(const ManagedObject& object) const;

  struct Node;
  // Internal: what the stores translate into their own queries.
  const Node& node() const { return *node_; }

 private:
  explicit Predicate(std::shared_ptr<const Node> node) : node_(std::move(node)) {}
  std::shared_ptr<const Node> node_;
};

Predicate operator&&(Predicate a, Predicate b);
Predicate operator||(Predicate a, Predicate b);
Predicate operator!(Predicate predicate);

struct SortDescriptor {
  std::string key;  // an attribute name
  bool ascending = true;
};

// What to fetch: every object of one entity, optionally filtered, sorted and
// limited. Without sort descriptors the order is the store's (insertion
// order of saved objects, then the context's unsaved insertions).
class FetchRequest {
 public:
  explicit FetchRequest(std::string entityName) : entityName_(std::move(entityName)) {}

  const std::string& entityName() const { return entityName_; }
  const std::optional<Predicate>& predicate() const { return predicate_; }
  void setPredicate(std::optional<Predicate> predicate) { predicate_ = std::move(predicate); }
  const std::vector<SortDescriptor>& sortDescriptors() const { return sort_; }
  void setSortDescriptors(std::vector<SortDescriptor> sort) { sort_ = std::move(sort); }
  // 0: no limit.
  std::size_t fetchLimit() const { return limit_; }
  void setFetchLimit(std::size_t limit) { limit_ = limit; }

 private:
  std::string entityName_;
  std::optional<Predicate> predicate_;
  std::vector<SortDescriptor> sort_;
  std::size_t limit_ = 0;
};

}  // namespace orbelin::graph
