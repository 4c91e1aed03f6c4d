#pragma once

#include <optional>
#include <utility>
#include <variant>

#include "orbelin/platform/error.h"

namespace orbelin {

// A value or an Error, for synchronous operations that can fail without
// throwing. `if (auto r = load(); r) use(*r); else report(r.error());`
template <typename T>
class Result {
 public:
  Result(T value) : state_(std::move(value)) {}      // NOLINT: implicit on purpose
  Result(Error error) : state_(std::move(error)) {}  // NOLINT: implicit on purpose

  bool ok() const { return std::holds_alternative<T>(state_); }
  explicit operator bool() const { return ok(); }

  // REQUIRES: ok().
  T& value() { return std::get<T>(state_); }
  const T& value() const { return std::get<T>(state_); }
  T& operator*() { return value(); }
  const T& operator*() const { return value(); }
  T* operator->() { return &value(); }
  const T* operator->() const { return &value(); }

  // REQUIRES: !ok().
  const Error& error() const { return std::get<Error>(state_); }

 private:
  std::variant<T, Error> state_;
};

// Result of an operation with nothing to return but success.
class Status {
 public:
  Status() = default;
  Status(Error error) : error_(std::move(error)) {}  // NOLINT: implicit on purpose
  static Status success() { return Status(); }

  bool ok() const { return !error_.has_value(); }
  explicit operator bool() const { return ok(); }
  // REQUIRES: !ok().
  const Error& error() const { return *error_; }

 private:
  std::optional<Error> error_;
};

}  // namespace orbelin
