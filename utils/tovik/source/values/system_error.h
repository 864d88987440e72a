#pragma once

#include <string>

#include "tovik/address.h"
#include "tovik/result.h"

namespace tovik {

/// "what: the error's text".
std::string describeError(const std::string& what, int error);

/// A failed Result with that text for errno.
Result systemFailure(const char* what);
/// The same with the address appended to what, for errno or the given error.
Result systemFailure(const char* what, const Address& address);
Result systemFailure(const char* what, const Address& address, int error);

}  // namespace tovik
