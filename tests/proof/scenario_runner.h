#pragma once

#include <qk/logging/logging.h>

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "scenario_server.h"
#include "support/scoped_dispatcher.h"

namespace tovik::ftp {

/// One session between a controller and a server that plays a scenario, from construction to destruction.
struct RunResult {
  std::string mismatch;  // empty when the scenario was played to its end
  bool stalled = false;  // it ended because nothing came any more
  bool started = false;
  bool ranOutOfMemory = false;        // in an operation
  bool warned = false;                // by the log, at level 30
  bool handlerThrew = false;          // by the log: that connection has no further callback then
  std::vector<std::string> lines;     // its callbacks
  std::vector<std::string> expected;  // those of the script
  long controlBytes = 0;
  long dataBytes = 0;
};

void PrintTo(const RunResult& result, std::ostream* out);

/// Plays scenarios one after another on a worker of its own, with everything logged. Only the library's memory and
/// system calls fail in them.
class ScenarioRunner {
 public:
  ScenarioRunner();
  ScenarioRunner(const ScenarioRunner&) = delete;
  ScenarioRunner& operator=(const ScenarioRunner&) = delete;
  ~ScenarioRunner();

  /// The first session makes what is made once.
  RunResult warmUp(const Scenario& scenario);
  /// check looks at the session when it is gone; then it must have left nothing behind.
  void play(const Scenario& scenario, ScenarioServer::Terms terms, const std::function<void(const RunResult&)>& check);

 private:
  RunResult playOnce(const Scenario& scenario, ScenarioServer::Terms terms);

  const testing_support::ScopedDispatcher dispatcher_{"stage"};
  std::atomic<bool> warned_{false};
  std::atomic<bool> handlerThrew_{false};
  const qk::logging::HandlerId logged_;
  const int levelBefore_;
};

}  // namespace tovik::ftp
