#include "ftp_fetch/password.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <tovik/descriptor.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string_view>

namespace ftp_fetch {

namespace {

/// Turns off the terminal's echo.
class NoEcho {
 public:
  explicit NoEcho(int terminal) : terminal_(terminal), changed_(::tcgetattr(terminal, &before_) == 0) {
    if (!changed_) return;
    termios silent = before_;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    ::tcsetattr(terminal_, TCSAFLUSH, &silent);
  }
  NoEcho(const NoEcho&) = delete;
  NoEcho& operator=(const NoEcho&) = delete;
  ~NoEcho() {
    if (changed_) ::tcsetattr(terminal_, TCSAFLUSH, &before_);
  }

 private:
  const int terminal_;
  termios before_{};
  const bool changed_;
};

void show(int terminal, std::string_view text) { static_cast<void>(::write(terminal, text.data(), text.size())); }

/// Returns true when the terminal has input, false when a signal arrives first.
bool waitForInput(int terminal, EndSignals& signals) {
  std::array<pollfd, 2> descriptors{{{terminal, POLLIN, 0}, {signals.descriptor(), POLLIN, 0}}};
  while (::poll(descriptors.data(), descriptors.size(), -1) < 0 && errno == EINTR) {
  }
  return signals.received() == 0;
}

std::optional<std::string> readLine(int terminal, EndSignals& signals) {
  std::string line;
  char character = 0;
  while (waitForInput(terminal, signals) && ::read(terminal, &character, 1) == 1) {
    if (character == '\n') return line;
    line += character;
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> askPassword(const std::string& prompt, EndSignals& signals) {
  const tovik::Descriptor terminal(::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY));
  if (!terminal.isOpen()) return std::nullopt;
  const NoEcho noEcho(terminal.number());
  show(terminal.number(), prompt);
  auto line = readLine(terminal.number(), signals);
  show(terminal.number(), "\n");
  return line;
}

}  // namespace ftp_fetch
