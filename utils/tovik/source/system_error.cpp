#include "system_error.h"

#include <cerrno>
#include <system_error>

namespace tovik {

std::string describeError(const std::string& what, int error) {
  return what + ": " + std::generic_category().message(error);
}

Result systemFailure(const std::string& what) { return systemFailure(what, errno); }

Result systemFailure(const std::string& what, int error) { return failure(describeError(what, error)); }

}  // namespace tovik
