#pragma once

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <string>
#include <vector>

#include "kept_standard_error.h"

namespace qk::logging {

/// Replaces standard error while it exists and keeps the writes apart: each one is a separate packet.
class StandardErrorCapture {
 public:
  StandardErrorCapture() {
    KeptStandardError::checked(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends_.data()));
    KeptStandardError::checked(::dup2(ends_[0], STDERR_FILENO));
  }
  ~StandardErrorCapture() {
    ::close(ends_[0]);
    ::close(ends_[1]);
  }
  StandardErrorCapture(const StandardErrorCapture&) = delete;
  StandardErrorCapture& operator=(const StandardErrorCapture&) = delete;

  /// What each write since the last call wrote.
  std::vector<std::string> writes() {
    std::vector<std::string> writes;
    std::array<char, 65536> packet;
    for (;;) {
      const ssize_t length = ::recv(ends_[1], packet.data(), packet.size(), MSG_DONTWAIT);
      if (length <= 0) {
        return writes;
      }
      writes.emplace_back(packet.data(), static_cast<std::size_t>(length));
    }
  }

 private:
  const KeptStandardError kept_;
  std::array<int, 2> ends_{};
};

}  // namespace qk::logging
