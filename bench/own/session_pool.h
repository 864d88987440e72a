#pragma once

#include <memory>
#include <vector>

#include "own/bench_session.h"

namespace bench::own {

/// The sessions of a run, begun in order of their numbers.
///
/// Threads: the worker only.
class SessionPool {
 public:
  /// Borrows both.
  SessionPool(const Job& job, SessionOwner& owner) : job_(job), owner_(owner), sessions_(job.sessions) {}

  /// Begins as many as may log in at the same time.
  void beginFirst();
  /// Begins the next one, if any is left.
  void beginNext();
  void retrieveInAll();
  void leaveAll();
  void destroy(const Session& session) { sessions_[session.number()].reset(); }

 private:
  const Job& job_;
  SessionOwner& owner_;
  unsigned long started_ = 0;
  std::vector<std::unique_ptr<Session>> sessions_;
};

}  // namespace bench::own
