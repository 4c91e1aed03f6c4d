#include "orbelin/platform/error.h"

namespace orbelin {

Error::Error(std::string domain, long code, std::string localizedDescription)
    : domain_(std::move(domain)), code_(code) {
  userInfo_[kLocalizedDescriptionKey] = std::move(localizedDescription);
}

Error::Error(std::string domain, long code, std::map<std::string, std::string> userInfo)
    : domain_(std::move(domain)), code_(code), userInfo_(std::move(userInfo)) {}

std::string Error::userInfoValue(const std::string& key) const {
  auto found = userInfo_.find(key);
  return found == userInfo_.end() ? std::string() : found->second;
}

Error& Error::setUserInfoValue(const std::string& key, std::string value) {
  userInfo_[key] = std::move(value);
  return *this;
}

Error& Error::setUnderlyingError(const Error& underlying) {
  underlying_ = std::make_shared<const Error>(underlying);
  return *this;
}

std::string Error::localizedDescription() const {
  auto found = userInfo_.find(kLocalizedDescriptionKey);
  if (found != userInfo_.end()) return found->second;
  return "The operation couldn't be completed. (" + domain_ + " error " + std::to_string(code_) +
         ".)";
}

std::string Error::description() const {
  return "Error Domain=" + domain_ + " Code=" + std::to_string(code_) + " \"" +
         localizedDescription() + "\"";
}

std::string Error::userInfoDescription() const {
  std::string text = "{";
  for (const auto& [key, value] : userInfo_) text += key + " = " + value + "; ";
  if (underlying_) text += "NSUnderlyingError = " + underlying_->description() + "; ";
  if (text.size() > 1) text.resize(text.size() - 1);
  return text + "}";
}

bool Error::operator==(const Error& other) const {
  return domain_ == other.domain_ && code_ == other.code_ && userInfo_ == other.userInfo_;
}

}  // namespace orbelin
