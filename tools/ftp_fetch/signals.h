#pragma once

#include <tovik/descriptor.h>

#include <atomic>

namespace ftp_fetch {

/// SIGINT, SIGTERM, SIGHUP and SIGPIPE as something to poll for, from its making on; the first three not where they
/// were ignored before. Made before any thread is started, so that no other one gets them; they stay blocked when it is
/// gone.
///
/// Threads: any.
class EndSignals {
 public:
  /// Throws tovik::Exception when the system gives no descriptor.
  EndSignals();

  int descriptor() const { return descriptor_.number(); }
  /// The signal that has come, 0 when none has. Keeps to the first one.
  int received();

 private:
  tovik::Descriptor descriptor_;
  std::atomic<int> received_ = 0;
};

}  // namespace ftp_fetch
