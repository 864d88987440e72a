#pragma once

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <string_view>

#include "waiting.h"

namespace testing_support {

/// Ends the process, as failed, when it lives for too long: a test that hangs must not hold up the suite. It starts no
/// thread. One at a time, the first member of a fixture.
class Watchdog {
 public:
  /// By default a wait of the test has time to fail first, with a text of its own.
  explicit Watchdog(std::chrono::seconds limit = 2 * deadline) {
    std::signal(SIGALRM, endProcess);
    ::alarm(static_cast<unsigned>(limit.count()));
  }
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;
  ~Watchdog() {
    ::alarm(0);
    std::signal(SIGALRM, SIG_DFL);
  }

 private:
  static void endProcess(int /*signal*/) {
    static constexpr std::string_view text = "The test hangs.\n";
    if (::write(STDERR_FILENO, text.data(), text.size()) < 0) ::_exit(2);
    ::_exit(1);
  }
};

}  // namespace testing_support
