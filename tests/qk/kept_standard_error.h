#pragma once

#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace qk::logging {

/// Saves standard error, and restores it on destruction if it was replaced meanwhile.
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
