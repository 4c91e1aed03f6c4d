#include "graph/sql_predicate.h"

#include <cmath>

#include "graph/predicate_node.h"

namespace orbelin::graph::detail {

namespace {

// Beyond 2^53 an integer and the double evaluate compares it as are not the
// same number, so such values stay with evaluate.
bool exactNumber(const Value& value) {
  // A range, not llabs: the absolute value of the smallest integer overflows.
  constexpr std::int64_t kExact = std::int64_t{1} << 53;
  if (auto i = value.integer()) return *i >= -kExact && *i <= kExact;
  auto d = value.number();
  return d && std::isfinite(*d);
}

// Whether SQL compares the column with the value as evaluate compares the
// attribute's values with it.
bool sameKind(AttributeType type, const Value& value) {
  switch (type) {
    case AttributeType::String:
      return value.string().has_value();
    case AttributeType::Integer16:
    case AttributeType::Integer32:
    case AttributeType::Integer64:
    case AttributeType::Double:
      return exactNumber(value);
    case AttributeType::Boolean:
      return value.boolean().has_value();
    case AttributeType::Date:
      return value.date().has_value();
    default:
      return false;
  }
}

const char* comparisonOperator(PredicateOp op) {
  switch (op) {
    case PredicateOp::Equal:
      return "=";
    case PredicateOp::Less:
      return "<";
    case PredicateOp::LessOrEqual:
      return "<=";
    case PredicateOp::Greater:
      return ">";
    case PredicateOp::GreaterOrEqual:
      return ">=";
    default:
      return nullptr;
  }
}

bool hasWildcardClass(std::string_view pattern) {
  return pattern.find('[') != std::string::npos;
}

}  // namespace

std::optional<SqlCondition> SqlPredicate::comparison(const Predicate::Node& node) const {
  const AttributeDescription* attribute = entity_.attribute(node.key);
  if (!attribute) return std::nullopt;
  const std::string column = quote_(attribute->name);
  const std::string present = "(" + column + " IS NOT NULL AND " + column;
  if (node.op == PredicateOp::In) {
    if (node.values.empty()) return SqlCondition{"0", {}};
    std::string list;
    for (const Value& value : node.values) {
      if (!sameKind(attribute->type, value)) return std::nullopt;
      list += list.empty() ? "?" : ", ?";
    }
    return SqlCondition{present + " IN (" + list + "))", node.values};
  }
  if (node.op == PredicateOp::Like) {
    if (attribute->type != AttributeType::String || node.caseInsensitive ||
        hasWildcardClass(*node.value.string()))
      return std::nullopt;
    return SqlCondition{present + " GLOB ?)", {node.value}};
  }
  if (node.value.isNil()) {
    // Only equality holds with nil; an order never does.
    if (node.op == PredicateOp::Equal) return SqlCondition{column + " IS NULL", {}};
    if (node.op == PredicateOp::NotEqual) return SqlCondition{column + " IS NOT NULL", {}};
    return SqlCondition{"0", {}};
  }
  if (!sameKind(attribute->type, node.value)) return std::nullopt;
  if (node.op == PredicateOp::NotEqual) return SqlCondition{column + " IS NOT ?", {node.value}};
  return SqlCondition{present + " " + comparisonOperator(node.op) + " ?)", {node.value}};
}

std::optional<SqlCondition> SqlPredicate::join(const std::vector<Predicate>& children,
                                               const char* separator) const {
  SqlCondition result;
  for (const Predicate& child : children) {
    auto part = exact(child);
    if (!part) return std::nullopt;
    result.text += (result.text.empty() ? "(" : separator) + part->text;
    result.parameters.insert(result.parameters.end(), part->parameters.begin(),
                             part->parameters.end());
  }
  result.text += ")";
  return result;
}

std::optional<SqlCondition> SqlPredicate::exact(const Predicate& predicate) const {
  const Predicate::Node& node = predicate.node();
  switch (node.op) {
    case PredicateOp::All:
      if (node.children.empty()) return SqlCondition{"1", {}};
      return join(node.children, " AND ");
    case PredicateOp::Any:
      if (node.children.empty()) return SqlCondition{"0", {}};
      return join(node.children, " OR ");
    case PredicateOp::Not: {
      auto inner = exact(node.children.front());
      if (!inner) return std::nullopt;
      inner->text = "NOT (" + inner->text + ")";
      return inner;
    }
    case PredicateOp::Function:
      return std::nullopt;
    default:
      return comparison(node);
  }
}

SqlCondition SqlPredicate::superset(const Predicate& predicate) const {
  if (auto whole = exact(predicate)) return *whole;
  const Predicate::Node& node = predicate.node();
  SqlCondition result;
  if (node.op != PredicateOp::All) return result;
  for (const Predicate& child : node.children) {
    SqlCondition part = superset(child);
    if (part.text.empty()) continue;
    result.text += (result.text.empty() ? "" : " AND ") + part.text;
    result.parameters.insert(result.parameters.end(), part.parameters.begin(),
                             part.parameters.end());
  }
  return result;
}

std::optional<std::string> SqlPredicate::orderBy(const std::vector<SortDescriptor>& sort) const {
  std::string terms;
  for (const SortDescriptor& descriptor : sort) {
    const AttributeDescription* attribute = entity_.attribute(descriptor.key);
    if (!attribute || attribute->type == AttributeType::Binary ||
        attribute->type == AttributeType::Transformable)
      return std::nullopt;
    // NULLs come first ascending and last descending, as nil does in memory.
    terms += quote_(attribute->name) + (descriptor.ascending ? " ASC, " : " DESC, ");
  }
  return terms + "Z_PK";
}

}  // namespace orbelin::graph::detail
