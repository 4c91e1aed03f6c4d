#include <charconv>
#include <cmath>

#include <boost/json/serialize.hpp>

#include "demo.h"

namespace orbelin::demo {
namespace {

std::string numberText(double number) {
  if (!std::isfinite(number)) return "null";
  char buffer[64];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
  return std::string(buffer, result.ptr);
}

void write(const boost::json::value& value, int depth, std::string& out) {
  const std::string indent(static_cast<std::size_t>(depth + 1) * 2, ' ');
  const std::string closing(static_cast<std::size_t>(depth) * 2, ' ');
  switch (value.kind()) {
    case boost::json::kind::object: {
      const auto& object = value.get_object();
      if (object.empty()) {
        out += "{}";
        return;
      }
      out += "{\n";
      bool first = true;
      for (const auto& member : object) {
        if (!first) out += ",\n";
        first = false;
        out += indent + boost::json::serialize(boost::json::string(member.key())) + ": ";
        write(member.value(), depth + 1, out);
      }
      out += "\n" + closing + "}";
      return;
    }
    case boost::json::kind::array: {
      const auto& array = value.get_array();
      if (array.empty()) {
        out += "[]";
        return;
      }
      out += "[\n";
      for (std::size_t i = 0; i < array.size(); ++i) {
        if (i > 0) out += ",\n";
        out += indent;
        write(array[i], depth + 1, out);
      }
      out += "\n" + closing + "]";
      return;
    }
    case boost::json::kind::double_:
      out += numberText(value.get_double());
      return;
    default:
      out += boost::json::serialize(value);
      return;
  }
}

}  // namespace

std::string prettyJSON(const boost::json::value& value) {
  std::string out;
  write(value, 0, out);
  return out;
}

}  // namespace orbelin::demo
