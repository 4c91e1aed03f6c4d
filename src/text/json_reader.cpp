#include "orbelin/text/json_reader.h"

#include <charconv>
#include <cmath>
#include <exception>
#include <string>

#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/monotonic_resource.hpp>
#include <boost/json/value_stack.hpp>

namespace orbelin::text {
namespace {

using boost::json::error_code;
using boost::json::string_view;

// Builds the document like Boost.JSON's own parser does, except that a number
// is read again from its text with std::from_chars: Boost 1.81's fast path
// reads some 17-digit numbers one unit in the last place off.
struct ExactNumberHandler {
  static constexpr std::size_t max_object_size = boost::json::object::max_size();
  static constexpr std::size_t max_array_size = boost::json::array::max_size();
  static constexpr std::size_t max_key_size = boost::json::string::max_size();
  static constexpr std::size_t max_string_size = boost::json::string::max_size();

  boost::json::value_stack stack;
  std::string number;  // the text of a number split across buffers

  bool on_document_begin(error_code&) { return true; }
  bool on_document_end(error_code&) { return true; }
  bool on_object_begin(error_code&) { return true; }
  bool on_object_end(std::size_t n, error_code&) {
    stack.push_object(n);
    return true;
  }
  bool on_array_begin(error_code&) { return true; }
  bool on_array_end(std::size_t n, error_code&) {
    stack.push_array(n);
    return true;
  }
  bool on_key_part(string_view s, std::size_t, error_code&) {
    stack.push_chars(s);
    return true;
  }
  bool on_key(string_view s, std::size_t, error_code&) {
    stack.push_key(s);
    return true;
  }
  bool on_string_part(string_view s, std::size_t, error_code&) {
    stack.push_chars(s);
    return true;
  }
  bool on_string(string_view s, std::size_t, error_code&) {
    stack.push_string(s);
    return true;
  }
  bool on_number_part(string_view s, error_code&) {
    number.append(s.data(), s.size());
    return true;
  }
  bool on_int64(std::int64_t i, string_view, error_code&) {
    number.clear();
    stack.push_int64(i);
    return true;
  }
  bool on_uint64(std::uint64_t u, string_view, error_code&) {
    number.clear();
    stack.push_uint64(u);
    return true;
  }
  bool on_double(double approximate, string_view s, error_code& ec) {
    number.append(s.data(), s.size());
    double exact = 0;
    auto [end, status] = std::from_chars(number.data(), number.data() + number.size(), exact);
    number.clear();
    if (status == std::errc::result_out_of_range) {
      // Too small reads as zero; too large cannot be held, so the text is refused.
      if (!std::isfinite(approximate) || std::fabs(approximate) >= 1) {
        ec = boost::json::error::exponent_overflow;
        return false;
      }
      exact = std::signbit(approximate) ? -0.0 : 0.0;
    } else if (status != std::errc()) {
      exact = approximate;
    }
    stack.push_double(exact);
    return true;
  }
  bool on_bool(bool b, error_code&) {
    stack.push_bool(b);
    return true;
  }
  bool on_null(error_code&) {
    stack.push_null();
    return true;
  }
  bool on_comment_part(string_view, error_code&) { return true; }
  bool on_comment(string_view, error_code&) { return true; }
};

void describe(std::string* problem, std::string text) {
  if (problem != nullptr) *problem = std::move(text);
}

}  // namespace

std::optional<boost::json::value> readJsonValue(std::string_view text, std::size_t maxDepth,
                                                std::string* problem,
                                                boost::json::storage_ptr storage) {
  try {
    boost::json::parse_options options;
    options.max_depth = maxDepth;
    boost::json::basic_parser<ExactNumberHandler> parser(options);
    parser.handler().stack.reset(std::move(storage));
    error_code ec;
    std::size_t used = parser.write_some(false, text.data(), text.size(), ec);
    if (!ec && used < text.size()) ec = boost::json::error::extra_data;
    if (ec) {
      // Boost's messages carry source locations; keep only the plain text.
      describe(problem, ec == boost::json::error::exponent_overflow ? "a number is too large"
                                                                    : ec.message());
      return std::nullopt;
    }
    return parser.handler().stack.release();
  } catch (const std::exception& failure) {
    describe(problem, failure.what());
    return std::nullopt;
  }
}

boost::json::storage_ptr documentArena(std::string_view text) {
  return boost::json::make_shared_resource<boost::json::monotonic_resource>(text.size());
}

}  // namespace orbelin::text
