#pragma once

#include <string>

#include "tovik/result.h"

namespace tovik {

/// "what: the error's text".
std::string describeError(const std::string& what, int error);

/// A failed Result of that text for errno, or for the error given.
Result systemFailure(const std::string& what);
Result systemFailure(const std::string& what, int error);

}  // namespace tovik
