#pragma once

#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace qk::logging {

/// Standard error as it was before; there again when this is destroyed, whatever has taken its place meanwhile.
class KeptStandardError {
 public:
  KeptStandardError() : original_(checked(::dup(STDERR_FILENO))) {}
  ~KeptStandardError() {
    ::dup2(original_, STDERR_FILENO);
    ::close(original_);
  }
  KeptStandardError(const KeptStandardError&) = delete;
  KeptStandardError& operator=(const KeptStandardError&) = delete;

  static int checked(int result) {
    if (result < 0) {
      throw std::system_error(errno, std::system_category());
    }
    return result;
  }

 private:
  const int original_;
};

}  // namespace qk::logging
