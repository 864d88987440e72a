#include "values/system_error.h"

#include <cerrno>
#include <system_error>

namespace tovik {

std::string describeError(const std::string& what, int error) {
  return what + ": " + std::generic_category().message(error);
}

Result systemFailure(const char* what) {
  const int error = errno;
  return failure(describeError(what, error));
}

Result systemFailure(const char* what, const Address& address) { return systemFailure(what, address, errno); }

Result systemFailure(const char* what, const Address& address, int error) {
  return failure(describeError(what + address.printInet(), error));
}

}  // namespace tovik
