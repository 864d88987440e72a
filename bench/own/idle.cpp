#include "memory.h"
#include "own/dispatcher.h"
#include "own/finish.h"
#include "own/session_pool.h"
#include "works.h"

namespace bench::own {
namespace {

/// Sessions that log in and stay, while their memory is looked at.
class Idle final : public SessionOwner {
 public:
  explicit Idle(const Job& job) : count_(job.sessions), notReady_(count_), here_(count_), pool_(job, *this) {}

  Figures run(Dispatcher& dispatcher) {
    const double heap = heapBytes();
    const double resident = residentBytes();
    dispatcher.call([this] { pool_.beginFirst(); });
    ready_.wait();
    const auto sessions = static_cast<double>(count_);
    Figures figures;
    figures.add("heap_bytes_each", (heapBytes() - heap) / sessions)
        .add("resident_bytes_each", (residentBytes() - resident) / sessions);
    pool_.leaveAll();
    left_.wait();
    return figures;
  }

  void onReady(Session& /*session*/) override {
    if (--notReady_ == 0) return ready_.succeed();
    pool_.beginNext();
  }
  void onFile(Session& /*session*/) override {}
  void onLeft(Session& /*session*/) override {
    if (--here_ == 0) left_.succeed();
  }
  void onFailed(const std::string& text) override {
    ready_.fail(text);
    left_.fail(text);
  }

 private:
  const unsigned long count_;
  unsigned long notReady_;
  unsigned long here_;
  Finish ready_;
  Finish left_;
  SessionPool pool_;
};

}  // namespace

Figures idle(const Job& job) {
  Dispatcher dispatcher;
  return Idle(job).run(dispatcher);
}

}  // namespace bench::own
