#pragma once

#include <tovik/descriptor.h>

#include <atomic>

namespace ftp_fetch {

/// Makes SIGINT, SIGTERM, SIGHUP and SIGPIPE available through a descriptor that can be polled. SIGINT, SIGTERM and
/// SIGHUP are left alone if the process ignores them already. Must be constructed before any thread is started, so that
/// all threads block the signals. They stay blocked after its destruction.
///
/// Threads: any.
class EndSignals {
 public:
  /// Throws tovik::Exception if no descriptor can be opened.
  EndSignals();

  int descriptor() const { return descriptor_.number(); }
  /// The first signal that was received, 0 if none was.
  int received();

 private:
  tovik::Descriptor descriptor_;
  std::atomic<int> received_ = 0;
};

}  // namespace ftp_fetch
