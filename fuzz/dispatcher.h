#pragma once

#include <tovik/worker_thread.h>

#include <chrono>
#include <future>
#include <memory>
#include <thread>

#include "fuzzer.h"
#include "support/scoped_dispatcher.h"

namespace fuzz {

/// The dispatcher "fuzz" of one worker, in the store for as long as this lives: as a rule until the process ends, since
/// starting a thread for each run would cost more than the run.
class Dispatcher {
 public:
  bool isWorker() const { return worker().isCurrent(); }

  /// Returns when the worker has handled all that was ready for it, and what came of that in the next few turns.
  void settle() const {
    const auto settled = std::make_shared<std::promise<void>>();
    passTurns(turns, settled);
    require(settled->get_future().wait_for(patience) == std::future_status::ready, "the worker goes on");
  }

  /// Settles until the condition holds.
  template <class Condition>
  void settleUntil(Condition&& condition, const char* what) const {
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
      require(std::chrono::steady_clock::now() < end, what);
      settle();
      std::this_thread::yield();
    }
  }

 private:
  static constexpr int turns = 4;
  static constexpr std::chrono::seconds patience{20};

  tovik::WorkerThread& worker() const { return *dispatcher_.get()->places_.front().worker; }

  // What is posted while a turn runs its posts waits for the next turn, which looks at the descriptors first.
  void passTurns(int left, const std::shared_ptr<std::promise<void>>& settled) const {
    worker().post([this, left, settled] {
      if (left == 0) return settled->set_value();
      passTurns(left - 1, settled);
    });
  }

  const testing_support::ScopedDispatcher dispatcher_{"fuzz"};
};

}  // namespace fuzz
