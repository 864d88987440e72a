#pragma once

#include <atomic>
#include <optional>
#include <string>

#include "ftp_fetch/names.h"

namespace ftp_fetch {

/// The work of all sessions of a run.
struct Job {
  // Constant while sessions run.
  std::string directory;  // empty: the login directory
  bool passive = true;
  bool listOnly = false;

  // Any thread.
  Names names;
  std::atomic<bool> interruptionReported = false;
};

/// The progress of one worker. It outlives each session, so that the next session can continue where the last one got
/// stuck. Used by the session while there is one, and by the worker's thread otherwise.
struct WorkerProgress {
  std::optional<std::string> current;  // being fetched
  bool done = false;
};

}  // namespace ftp_fetch
