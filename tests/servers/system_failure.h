#pragma once

#include <string>
#include <system_error>

namespace test_servers {

/// error: a value of errno.
[[noreturn]] inline void fail(const std::string& what, int error) {
  throw std::system_error(error, std::generic_category(), what);
}

}  // namespace test_servers
