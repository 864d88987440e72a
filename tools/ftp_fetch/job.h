#pragma once

#include <atomic>
#include <optional>
#include <string>

#include "ftp_fetch/names.h"

namespace ftp_fetch {

/// What is to be done, by however many sessions.
struct Job {
  // Settled before the first one.
  std::string directory;  // empty: where the login leads to
  bool passive = true;
  bool listOnly = false;

  // Any thread's.
  Names names;
  std::atomic<bool> interruptionTold = false;
};

/// How far one session has got with its part. It outlives the session, so that a second one can go on where the first
/// got stuck. The session's while there is one.
struct Part {
  std::optional<std::string> current;  // being fetched
  bool done = false;
};

}  // namespace ftp_fetch
