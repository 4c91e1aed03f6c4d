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

std::optional<std::string> HeaderFields::value(std::string_view name) const {
  for (const auto& field : fields_) {
    if (equalsIgnoringCase(field.first, name)) return field.second;
  }
  return std::nullopt;
}

bool isValidURLText(std::string_view text) {
  // libcurl's parser stops at a NUL, so a text holding one would be sent cut short.
  if (text.empty() || text.find('\0') != std::string_view::npos) return false;
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
