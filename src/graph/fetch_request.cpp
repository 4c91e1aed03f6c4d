#include "orbelin/graph/fetch_request.h"

#include <algorithm>
#include <cctype>

#include "graph/object_access.h"
#include "graph/predicate_node.h"
#include "orbelin/graph/managed_object.h"

namespace orbelin::graph {

bool wildcardMatch(std::string_view pattern, std::string_view text, bool caseInsensitive) {
  auto same = [caseInsensitive](char a, char b) {
    if (!caseInsensitive) return a == b;
    return std::tolower(static_cast<unsigned char>(a)) ==
           std::tolower(static_cast<unsigned char>(b));
  };
  // Greedy match with one backtrack point: linear for patterns with a single
  // star, and never exponential.
  std::size_t p = 0, t = 0, starP = std::string_view::npos, starT = 0;
  while (t < text.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      starP = p++;
      starT = t;
    } else if (p < pattern.size() && (pattern[p] == '?' || same(pattern[p], text[t]))) {
      ++p;
      ++t;
    } else if (starP != std::string_view::npos) {
      p = starP + 1;
      t = ++starT;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == '*') ++p;
  return p == pattern.size();
}

using Op = PredicateOp;

namespace {

// -1, 0, 1, or nullopt when the two cannot be ordered.
std::optional<int> compare(const Value& a, const Value& b) {
  auto sign = [](auto x, auto y) { return x < y ? -1 : (y < x ? 1 : 0); };
  auto ia = a.integer(), ib = b.integer();
  if (ia && ib) return sign(*ia, *ib);  // exactly, also beyond 2^53
  auto na = a.number(), nb = b.number();
  if (na && nb) return sign(*na, *nb);
  if (a.string() && b.string()) return sign(*a.string(), *b.string());
  if (a.date() && b.date()) return sign(*a.date(), *b.date());
  if (a.boolean() && b.boolean()) return sign(*a.boolean(), *b.boolean());
  return std::nullopt;
}

Predicate::Node comparison(Op op, std::string key, Value value) {
  Predicate::Node node{op, std::move(key), std::move(value), false, {}, {}, {}};
  return node;
}

}  // namespace

namespace detail {
bool valueLess(const Value& a, const Value& b) {
  if (a.isNil() || b.isNil()) return a.isNil() && !b.isNil();
  auto order = compare(a, b);
  return order && *order < 0;
}
}  // namespace detail

#define ORBELIN_COMPARISON(NAME, OP)                                                            \
  Predicate Predicate::NAME(std::string key, Value value) {                                     \
    return Predicate(std::make_shared<Node>(comparison(OP, std::move(key), std::move(value)))); \
  }
ORBELIN_COMPARISON(equal, Op::Equal)
ORBELIN_COMPARISON(notEqual, Op::NotEqual)
ORBELIN_COMPARISON(less, Op::Less)
ORBELIN_COMPARISON(lessOrEqual, Op::LessOrEqual)
ORBELIN_COMPARISON(greater, Op::Greater)
ORBELIN_COMPARISON(greaterOrEqual, Op::GreaterOrEqual)
#undef ORBELIN_COMPARISON

Predicate Predicate::like(std::string key, std::string pattern, bool caseInsensitive) {
  auto node =
      std::make_shared<Node>(comparison(Op::Like, std::move(key), Value(std::move(pattern))));
  node->caseInsensitive = caseInsensitive;
  return Predicate(std::move(node));
}

Predicate Predicate::all(std::vector<Predicate> predicates) {
  auto node = std::make_shared<Node>(comparison(Op::All, {}, {}));
  node->children = std::move(predicates);
  return Predicate(std::move(node));
}

Predicate Predicate::in(std::string key, std::vector<Value> values) {
  auto node = std::make_shared<Node>(comparison(Op::In, std::move(key), {}));
  node->values = std::move(values);
  return Predicate(std::move(node));
}

Predicate Predicate::any(std::vector<Predicate> predicates) {
  auto node = std::make_shared<Node>(comparison(Op::Any, {}, {}));
  node->children = std::move(predicates);
  return Predicate(std::move(node));
}

Predicate Predicate::negation(Predicate predicate) {
  auto node = std::make_shared<Node>(comparison(Op::Not, {}, {}));
  node->children.push_back(std::move(predicate));
  return Predicate(std::move(node));
}

Predicate operator||(Predicate a, Predicate b) {
  return Predicate::any({std::move(a), std::move(b)});
}

Predicate operator!(Predicate predicate) {
  return Predicate::negation(std::move(predicate));
}

Predicate Predicate::matching(std::function<bool(const ManagedObject&)> function) {
  auto node = std::make_shared<Node>(comparison(Op::Function, {}, {}));
  node->function = std::move(function);
  return Predicate(std::move(node));
}

Predicate operator&&(Predicate a, Predicate b) {
  return Predicate::all({std::move(a), std::move(b)});
}

bool Predicate::evaluate(const ManagedObject& object) const {
  const Node& n = *node_;
  switch (n.op) {
    case Op::All:
      for (const auto& child : n.children)
        if (!child.evaluate(object)) return false;
      return true;
    case Op::Any:
      for (const auto& child : n.children)
        if (child.evaluate(object)) return true;
      return false;
    case Op::Not:
      return !n.children.front().evaluate(object);
    case Op::In: {
      Value v = object.value(n.key);
      return std::any_of(n.values.begin(), n.values.end(),
                         [&](const Value& candidate) { return v == candidate; });
    }
    case Op::Function:
      return n.function && n.function(object);
    case Op::Like: {
      Value v = object.value(n.key);
      return v.string() && wildcardMatch(*n.value.string(), *v.string(), n.caseInsensitive);
    }
    default:
      break;
  }
  Value v = object.value(n.key);
  if (n.op == Op::Equal) return v == n.value;
  if (n.op == Op::NotEqual) return !(v == n.value);
  auto order = compare(v, n.value);
  if (!order) return false;
  switch (n.op) {
    case Op::Less:
      return *order < 0;
    case Op::LessOrEqual:
      return *order <= 0;
    case Op::Greater:
      return *order > 0;
    case Op::GreaterOrEqual:
      return *order >= 0;
    default:
      return false;
  }
}

}  // namespace orbelin::graph
