#pragma once

// Internal: the parts of a predicate, for the stores that translate it.

#include <functional>
#include <string>
#include <vector>

#include "orbelin/graph/fetch_request.h"

namespace orbelin::graph {

enum class PredicateOp {
  Equal,
  NotEqual,
  Less,
  LessOrEqual,
  Greater,
  GreaterOrEqual,
  Like,
  In,
  All,
  Any,
  Not,
  Function
};

struct Predicate::Node {
  PredicateOp op;
  std::string key;
  Value value;
  bool caseInsensitive = false;
  std::vector<Predicate> children;  // All, Any, Not (one)
  std::vector<Value> values;        // In
  std::function<bool(const ManagedObject&)> function;
};

}  // namespace orbelin::graph
