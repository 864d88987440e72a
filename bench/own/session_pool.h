#pragma once

#include <memory>
#include <vector>

#include "own/bench_session.h"

namespace bench::own {

/// The sessions of a run, started in the order of their numbers.
///
/// Threads: the worker only.
class SessionPool {
 public:
  /// Borrows job and owner.
  SessionPool(const Job& job, SessionOwner& owner) : job_(job), owner_(owner), sessions_(job.sessions) {}

  /// Starts as many sessions as may log in at the same time.
  void startFirst();
  /// Starts the next session, if any is left.
  void startNext();
  void retrieveInAll();
  void logOutAll();
  void destroy(const BenchSession& session) { sessions_[session.number()].reset(); }

 private:
  const Job& job_;
  SessionOwner& owner_;
  unsigned long started_ = 0;
  std::vector<std::unique_ptr<BenchSession>> sessions_;
};

}  // namespace bench::own
