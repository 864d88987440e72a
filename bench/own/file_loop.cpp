#include <optional>

#include "meter.h"
#include "own/bench_session.h"
#include "own/dispatcher.h"
#include "own/finish.h"
#include "works.h"

namespace bench::own {
namespace {

/// One session that retrieves the file repeatedly.
class FileLoop final : public SessionOwner {
 public:
  explicit FileLoop(const Job& job) : filesLeft_(job.count), session_(job, *this, 0) {}

  Figures run(Dispatcher& dispatcher) {
    dispatcher.call([this] { session_.start(); });
    finish_.wait();
    return figures_;
  }

  void onReady(BenchSession& session) override {
    meter_.emplace();
    session.retrieve();
  }
  void onFile(BenchSession& session) override {
    if (--filesLeft_ > 0) return session.retrieve();
    meter_->stop(figures_);
    session.logOut();
  }
  void onLoggedOut(BenchSession& /*session*/) override { finish_.succeed(); }
  void onFailed(const std::string& text) override { finish_.fail(text); }

 private:
  unsigned long filesLeft_;
  std::optional<Meter> meter_;
  Figures figures_;
  Finish finish_;
  BenchSession session_;
};

}  // namespace

Figures files(const Job& job) {
  Dispatcher dispatcher;
  return FileLoop(job).run(dispatcher);
}

}  // namespace bench::own
