#pragma once

#include <tovik/worker_thread.h>

#include <chrono>
#include <future>
#include <memory>
#include <thread>

#include "fuzzer.h"
#include "support/scoped_dispatcher.h"

namespace fuzz {

/// The dispatcher "fuzz" with one worker. Added by the constructor, removed by the destructor. Usually kept until the
/// process ends, since starting a thread for each run would take longer than the run.
class Dispatcher {
 public:
  bool isWorker() const { return worker().isCurrent(); }

  /// Returns when the worker has handled everything that was ready, and what followed from it in the next few turns.
  void settle() const {
    const auto settled = std::make_shared<std::promise<void>>();
    passTurns(turns, settled);
    require(settled->get_future().wait_for(timeLimit) == std::future_status::ready, "the worker keeps running");
  }

  /// Calls settle until the condition is true.
  template <class Condition>
  void settleUntil(Condition&& condition, const char* what) const {
    const auto end = std::chrono::steady_clock::now() + timeLimit;
    while (!condition()) {
      require(std::chrono::steady_clock::now() < end, what);
      settle();
      std::this_thread::yield();
    }
  }

 private:
  static constexpr int turns = 4;
  static constexpr std::chrono::seconds timeLimit{20};

  tovik::WorkerThread& worker() const { return *dispatcher_.get()->workers_.front(); }

  // A task that is posted by a posted task runs in the next turn, after the descriptors of that turn.
  void passTurns(int left, const std::shared_ptr<std::promise<void>>& settled) const {
    worker().post([this, left, settled] {
      if (left == 0) return settled->set_value();
      passTurns(left - 1, settled);
    });
  }

  const testing_support::ScopedDispatcher dispatcher_{"fuzz"};
};

}  // namespace fuzz
