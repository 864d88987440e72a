#include <optional>
#include <vector>

#include "meter.h"
#include "own/dispatcher.h"
#include "own/finish.h"
#include "own/session_pool.h"
#include "works.h"

namespace bench::own {
namespace {

/// Many sessions that, all being logged in, retrieve the file again and again each.
class Swarm final : public SessionOwner {
 public:
  explicit Swarm(const Job& job)
      : notReady_(job.sessions),
        filesLeft_(job.sessions * job.count),
        here_(job.sessions),
        left_(job.sessions, job.count),
        pool_(job, *this) {}

  Figures run(Dispatcher& dispatcher) {
    dispatcher.call([this] { pool_.beginFirst(); });
    finish_.wait();
    return figures_;
  }

  void onReady(Session& /*session*/) override {
    if (--notReady_ > 0) return pool_.beginNext();
    meter_.emplace();
    pool_.retrieveInAll();
  }
  void onFile(Session& session) override {
    --filesLeft_;
    if (--left_[session.number()] > 0) return session.retrieve();
    if (filesLeft_ > 0) return;
    meter_->stop(figures_);
    pool_.leaveAll();
  }
  void onLeft(Session& /*session*/) override {
    if (--here_ == 0) finish_.succeed();
  }
  void onFailed(const std::string& text) override { finish_.fail(text); }

 private:
  unsigned long notReady_;
  unsigned long filesLeft_;
  unsigned long here_;
  std::vector<unsigned long> left_;  // files, by session
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
