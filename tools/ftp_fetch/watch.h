#pragma once

#include <chrono>
#include <optional>

#include "ftp_fetch/conversation.h"
#include "ftp_fetch/report.h"
#include "ftp_fetch/signals.h"
#include "ftp_fetch/traffic.h"

namespace ftp_fetch {

struct Limits {
  /// Of each command, since it began or since data last arrived; 0: none.
  std::chrono::seconds command{60};
  /// After which the session ends a connection that nothing came on; 0: never.
  std::chrono::seconds firstByte{10};
};

/// Why there is nothing left to wait for.
enum class Outcome {
  ended,         ///< the session is over
  loginRefused,  ///< a client is not told of this, and the server may wait for another try for ever
  stuck,         ///< the server has said no, but what should end the command with it doesn't come
  timedOut,
  interrupted,
};

/// Null: worth waiting on. lastData: when data last arrived.
std::optional<Outcome> judge(const Conversation::State& state, Time lastData, Time now, const Limits& limits);

/// The main thread's wait for a session, which shows its progress meanwhile.
class Watch {
 public:
  Watch(Conversation& conversation, Traffic& traffic, EndSignals& signals, Report& report, const Limits& limits);

  /// The outcome, and in `last` the state it was judged by.
  Outcome wait(Conversation::State& last);

 private:
  std::optional<Outcome> look(Conversation::State& last);
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
