#include <optional>
#include <vector>

#include "meter.h"
#include "own/dispatcher.h"
#include "own/finish.h"
#include "own/session_pool.h"
#include "works.h"

namespace bench::own {
namespace {

/// Many sessions. When all have logged in, each of them retrieves the file repeatedly.
class Swarm final : public SessionOwner {
 public:
  explicit Swarm(const Job& job)
      : notReady_(job.sessions),
        allFilesLeft_(job.sessions * job.count),
        notLoggedOut_(job.sessions),
        filesLeft_(job.sessions, job.count),
        pool_(job, *this) {}

  Figures run(Dispatcher& dispatcher) {
    dispatcher.call([this] { pool_.startFirst(); });
    finish_.wait();
    return figures_;
  }

  void onReady(BenchSession& /*session*/) override {
    if (--notReady_ > 0) return pool_.startNext();
    meter_.emplace();
    pool_.retrieveInAll();
  }
  void onFile(BenchSession& session) override {
    --allFilesLeft_;
    if (--filesLeft_[session.number()] > 0) return session.retrieve();
    if (allFilesLeft_ > 0) return;
    meter_->stop(figures_);
    pool_.logOutAll();
  }
  void onLoggedOut(BenchSession& /*session*/) override {
    if (--notLoggedOut_ == 0) finish_.succeed();
  }
  void onFailed(const std::string& text) override { finish_.fail(text); }

 private:
  unsigned long notReady_;
  unsigned long allFilesLeft_;
  unsigned long notLoggedOut_;
  std::vector<unsigned long> filesLeft_;  // by session
  std::optional<Meter> meter_;
  Figures figures_;
  Finish finish_;
  SessionPool pool_;
};

}  // namespace

Figures swarm(const Job& job) {
  Dispatcher dispatcher;
  return Swarm(job).run(dispatcher);
}

}  // namespace bench::own
