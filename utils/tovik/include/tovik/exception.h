#pragma once

#include <exception>
#include <string>
#include <utility>

#include "tovik/visibility.h"

namespace tovik {

/// An error that leaves no object behind: thrown by constructors only, everything else returns a Result.
class TOVIK_API Exception : public std::exception {
 public:
  /// The message is for people.
  explicit Exception(std::string message) : message_(std::move(message)) {}

  /// The message; valid as long as the object.
  const char* what() const noexcept override { return message_.c_str(); }

  /// Throws a copy of the object, with its own type in derived classes that override it.
  [[noreturn]] virtual void raise() const { throw *this; }

 private:
  std::string message_;
};

}  // namespace tovik
