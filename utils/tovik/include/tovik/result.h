#pragma once

#include <string>
#include <utility>

#include "tovik/visibility.h"

namespace tovik {

/// The outcome of an operation that can fail: whether it succeeded and, if not, a message that names what failed.
struct [[nodiscard]] TOVIK_API Result {
  bool ok = false;      ///< whether it succeeded
  std::string message;  ///< empty on success

  /// Whether it succeeded.
  explicit operator bool() const { return ok; }
};

/// The outcome of an operation that succeeded.
inline const Result Success{true, {}};

/// The outcome of an operation that failed.
inline Result failure(std::string message) { return Result{false, std::move(message)}; }

}  // namespace tovik
