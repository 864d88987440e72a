#include "memory.h"
#include "own/dispatcher.h"
#include "own/finish.h"
#include "own/session_pool.h"
#include "works.h"

namespace bench::own {
namespace {

/// Measures the memory of sessions that are logged in and idle.
class Idle final : public SessionOwner {
 public:
  explicit Idle(const Job& job) : count_(job.sessions), notReady_(count_), notLoggedOut_(count_), pool_(job, *this) {}

  Figures run(Dispatcher& dispatcher) {
    const double heap = heapBytes();
    const double resident = residentBytes();
    dispatcher.call([this] { pool_.startFirst(); });
    ready_.wait();
    const auto sessions = static_cast<double>(count_);
    Figures figures;
    figures.add("heap_bytes_each", (heapBytes() - heap) / sessions)
        .add("resident_bytes_each", (residentBytes() - resident) / sessions);
    pool_.logOutAll();
    loggedOut_.wait();
    return figures;
  }

  void onReady(BenchSession& /*session*/) override {
    if (--notReady_ == 0) return ready_.succeed();
    pool_.startNext();
  }
  void onFile(BenchSession& /*session*/) override {}
  void onLoggedOut(BenchSession& /*session*/) override {
    if (--notLoggedOut_ == 0) loggedOut_.succeed();
  }
  void onFailed(const std::string& text) override {
    ready_.fail(text);
    loggedOut_.fail(text);
  }

 private:
  const unsigned long count_;
  unsigned long notReady_;
  unsigned long notLoggedOut_;
  Finish ready_;
  Finish loggedOut_;
  SessionPool pool_;
};

}  // namespace

Figures idle(const Job& job) {
  Dispatcher dispatcher;
  return Idle(job).run(dispatcher);
}

}  // namespace bench::own
