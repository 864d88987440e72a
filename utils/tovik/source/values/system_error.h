#pragma once

#include <string>

#include "tovik/address.h"
#include "tovik/result.h"

namespace tovik {

/// "what: the error's text".
std::string describeError(const std::string& what, int error);

/// A failed Result of that text for errno, read before a text is built, which may change it.
Result systemFailure(const char* what);
/// The same of what and the address, for errno or for the error given.
Result systemFailure(const char* what, const Address& address);
Result systemFailure(const char* what, const Address& address, int error);

}  // namespace tovik
