#pragma once

#include <chrono>
#include <optional>

#include "ftp_fetch/conversation.h"
#include "ftp_fetch/report.h"
#include "ftp_fetch/signals.h"
#include "ftp_fetch/traffic.h"

namespace ftp_fetch {

struct Limits {
  /// The time limit of each command, from its start or from the last data that arrived; 0 means none.
  std::chrono::seconds command{60};
  /// The session ends a connection on which nothing arrives for this long; 0 means never.
  std::chrono::seconds firstByte{10};
};

/// Why the wait for a session ended.
enum class Outcome {
  ended,         ///< the session is over
  loginRefused,  ///< not reported by a callback, and the server may wait for another try forever
  stuck,         ///< the server refused a command, but the outcome is not reported
  timedOut,
  interrupted,
};

/// Returns the outcome, or null if the session should be waited for. lastData: when data last arrived.
std::optional<Outcome> judge(const Conversation::State& state, Time lastData, Time now, const Limits& limits);

/// Waits for a session to end, and shows its progress.
class Watch {
 public:
  Watch(Conversation& conversation, Traffic& traffic, EndSignals& signals, Report& report, const Limits& limits);

  /// Returns the outcome, and in `last` the state that led to it.
  Outcome wait(Conversation::State& last);

 private:
  std::optional<Outcome> check(Conversation::State& last);
  void pause();

  Conversation& conversation_;
  Traffic& traffic_;
  EndSignals& signals_;
  Report& report_;
  const Limits limits_;
  unsigned long long bytes_ = 0;
  Time lastData_;
};

}  // namespace ftp_fetch
