#pragma once

#include <exception>
#include <string>
#include <utility>

#include "tovik/visibility.h"

namespace tovik {

/// The failure of a constructor. Everything else returns a Result.
class TOVIK_API Exception : public std::exception {
 public:
  /// The message names what failed.
  explicit Exception(std::string message) : message_(std::move(message)) {}

  /// The message, valid as long as the object.
  const char* what() const noexcept override { return message_.c_str(); }

  /// Throws a copy of the object. A derived class overrides it to throw its own type.
  [[noreturn]] virtual void raise() const { throw *this; }

 private:
  std::string message_;
};

}  // namespace tovik
