#include "orbelin/networking/url_request.h"

#include <algorithm>
#include <cctype>
#include <memory>

#include <curl/curl.h>

namespace TamberNetworking {
namespace {

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    return std::tolower(static_cast<unsigned char>(x)) ==
           std::tolower(static_cast<unsigned char>(y));
  });
}

struct UrlDeleter {
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
};

// One URL part as text, or "" when the parser has none.
std::string urlPart(CURLU* url, CURLUPart part) {
  char* text = nullptr;
  if (curl_url_get(url, part, &text, 0) != CURLUE_OK || text == nullptr) return std::string();
  std::string copy(text);
  curl_free(text);
  return copy;
}

}  // namespace

void HeaderFields::set(std::string name, std::string value) {
  for (auto& field : fields_) {
    if (equalsIgnoringCase(field.first, name)) {
      field.second = std::move(value);
      return;
    }
  }
  fields_.emplace_back(std::move(name), std::move(value));
}

void HeaderFields::remove(std::string_view name) {
  std::erase_if(fields_, [&](const Field& field) { return equalsIgnoringCase(field.first, name); });
}

std::optional<std::string> HeaderFields::value(std::string_view name) const {
  for (const auto& field : fields_) {
    if (equalsIgnoringCase(field.first, name)) return field.second;
  }
  return std::nullopt;
}

namespace {

bool isHexDigit(char c) {
  return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}

// Characters that must be percent-encoded wherever they appear after the host.
bool isRefusedInURL(char c) {
  auto byte = static_cast<unsigned char>(c);
  if (byte < 0x20 || byte == 0x7F) return true;
  return std::string_view(" \"<>\\^`{|}").find(c) != std::string_view::npos;
}

bool hasOnlyURLCharacters(std::string_view rest) {
  for (std::size_t i = 0; i < rest.size(); ++i) {
    if (isRefusedInURL(rest[i])) return false;
    if (rest[i] == '%' &&
        (i + 2 >= rest.size() || !isHexDigit(rest[i + 1]) || !isHexDigit(rest[i + 2])))
      return false;
  }
  return true;
}

// The part after "scheme://host[:port]", or absent when no host is written out.
std::optional<std::string_view> afterAuthority(std::string_view text) {
  // The "://" must close the scheme itself, not sit later in a path or query.
  auto separator = text.find(':');
  if (separator == std::string_view::npos || text.substr(separator, 3) != "://")
    return std::nullopt;
  std::string_view rest = text.substr(separator + 3);
  auto end = rest.find_first_of("/?#");
  if (end == std::string_view::npos) end = rest.size();
  if (end == 0) return std::nullopt;
  return rest.substr(end);
}

bool isTokenCharacter(char c) {
  if (std::isalnum(static_cast<unsigned char>(c)) != 0) return true;
  return std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
}

}  // namespace

bool isSafeHeaderField(std::string_view name, std::string_view value) {
  if (name.empty() || !std::all_of(name.begin(), name.end(), isTokenCharacter)) return false;
  return value.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

bool isValidURLText(std::string_view text) {
  // libcurl's parser stops at a NUL, so a text holding one would be sent cut short.
  if (text.empty() || text.find('\0') != std::string_view::npos) return false;
  auto rest = afterAuthority(text);
  if (!rest || !hasOnlyURLCharacters(*rest)) return false;
  std::unique_ptr<CURLU, UrlDeleter> url(curl_url());
  if (!url) return false;
  // No flags: no default or guessed scheme, no spaces, no control characters.
  if (curl_url_set(url.get(), CURLUPART_URL, std::string(text).c_str(), 0) != CURLUE_OK)
    return false;
  std::string scheme = urlPart(url.get(), CURLUPART_SCHEME);
  if (scheme != "http" && scheme != "https") return false;
  return !urlPart(url.get(), CURLUPART_HOST).empty();
}

}  // namespace TamberNetworking
