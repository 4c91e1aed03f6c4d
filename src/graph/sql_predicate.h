#pragma once

// Internal: predicates as SQL conditions over one entity's table.

#include <optional>
#include <string>
#include <vector>

#include "orbelin/graph/fetch_request.h"
#include "orbelin/graph/model.h"

namespace orbelin::graph::detail {

// An SQL condition and the values of its parameters, in order.
struct SqlCondition {
  std::string text;
  std::vector<Value> parameters;
};

// `quote` turns a column name into SQL. Only what SQL decides exactly as
// Predicate::evaluate does is translated: comparisons of an attribute with a
// value of its own kind (or nil), wildcard matches that are case-sensitive
// and use only "*" and "?", IN, AND, OR and NOT over those. Conditions are
// two-valued (never NULL), so NOT means what evaluate means.
class SqlPredicate {
 public:
  using Quote = std::string (*)(const std::string&);
  SqlPredicate(const EntityDescription& entity, Quote quote) : entity_(entity), quote_(quote) {}

  // The whole predicate, or nullopt when some part of it is not translated.
  std::optional<SqlCondition> exact(const Predicate& predicate) const;
  // A condition that every object satisfying the predicate satisfies: the
  // translated parts of a conjunction. Empty text: no condition.
  SqlCondition superset(const Predicate& predicate) const;
  // ORDER BY terms (without the keywords), or nullopt when a key is not an
  // attribute SQL orders as valueLess does.
  std::optional<std::string> orderBy(const std::vector<SortDescriptor>& sort) const;

 private:
  std::optional<SqlCondition> comparison(const Predicate::Node& node) const;
  std::optional<SqlCondition> join(const std::vector<Predicate>& children,
                                   const char* separator) const;

  const EntityDescription& entity_;
  Quote quote_;
};

}  // namespace orbelin::graph::detail
