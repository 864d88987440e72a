#pragma once

#include <qk/logging/logging.h>

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "peer.h"
#include "support/scoped_dispatcher.h"

namespace tovik::ftp {

/// One session between a controller and a peer that played a scenario, from construction to destruction.
struct Played {
  std::string deviation;  // empty when the scenario was played to its end
  bool stalled = false;   // it ended because nothing came any more
  bool started = false;
  bool wantedMemory = false;          // an operation failed for want of it
  bool warned = false;                // by the log, at level 30
  bool handlerThrew = false;          // by the log: nothing more is told of that connection then
  std::vector<std::string> lines;     // what the host was told
  std::vector<std::string> expected;  // what the script says of that
  long controlBytes = 0;
  long dataBytes = 0;
};

void PrintTo(const Played& played, std::ostream* out);

/// Plays scenarios one after another on a worker of its own, with everything logged. Only the library's memory and
/// system calls fail in them.
class Stage {
 public:
  Stage();
  Stage(const Stage&) = delete;
  Stage& operator=(const Stage&) = delete;
  ~Stage();

  /// The first session makes what is made once.
  Played rehearse(const Scenario& scenario);
  /// judge looks at the session when it is gone; then it must have left nothing behind.
  void play(const Scenario& scenario, Peer::Terms terms, const std::function<void(const Played&)>& judge);

 private:
  Played playOnce(const Scenario& scenario, Peer::Terms terms);

  const testing_support::ScopedDispatcher dispatcher_{"stage"};
  std::atomic<bool> warned_{false};
  std::atomic<bool> handlerThrew_{false};
  const qk::logging::HandlerId logged_;
  const int levelBefore_;
};

}  // namespace tovik::ftp
