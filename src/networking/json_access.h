#pragma once

// Internal: reading a parsed document without a JSON view per value, for
// imports that read many members of one object. The conversions are the ones
// JSON's members make (they call these), so a value reads the same either way.

#include <cstdint>
#include <optional>
#include <string>

#include <boost/json/value.hpp>

#include "orbelin/networking/json.h"

namespace TamberNetworking::detail {

// A null `node` is a missing member.
std::string stringValueOf(const boost::json::value* node);
std::int64_t intValueOf(const boost::json::value* node);
double doubleValueOf(const boost::json::value* node);
std::optional<orbelin::Date> dateOf(const boost::json::value* node);

struct JSONAccess {
  // The value a view shows; null for the null view.
  static const boost::json::value* node(const JSON& json) { return json.node_; }
  // A view of `node`, a value inside the document `of` belongs to (null: the
  // null view).
  static JSON view(const JSON& of, const boost::json::value* node) {
    return node ? JSON(of.root_, node) : JSON();
  }
};

}  // namespace TamberNetworking::detail
