#include "ftp_fetch/signals.h"

#include <sys/signalfd.h>
#include <tovik/exception.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>

namespace ftp_fetch {

namespace {

/// A signal that was ignored at the start, as under nohup, must stay ignored.
bool isIgnored(int signal) {
  struct sigaction action {};
  return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

EndSignals::EndSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    if (!isIgnored(signal)) sigaddset(&signals, signal);
  sigaddset(&signals, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  descriptor_ = tovik::Descriptor(::signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC));
  if (!descriptor_.isOpen()) throw tovik::Exception(std::string("signalfd: ") + std::strerror(errno));
}

int EndSignals::received() {
  signalfd_siginfo info{};
  int none = 0;
  if (received_ == 0 && ::read(descriptor_.number(), &info, sizeof info) == sizeof info)
    received_.compare_exchange_strong(none, static_cast<int>(info.ssi_signo));
  return received_;
}

}  // namespace ftp_fetch
