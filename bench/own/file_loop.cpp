#include <optional>

#include "meter.h"
#include "own/bench_session.h"
#include "own/dispatcher.h"
#include "own/finish.h"
#include "works.h"

namespace bench::own {
namespace {

/// One session that retrieves the file again and again.
class FileLoop final : public SessionOwner {
 public:
  explicit FileLoop(const Job& job) : left_(job.count), session_(job, *this, 0) {}

  Figures run(Dispatcher& dispatcher) {
    dispatcher.call([this] { session_.start(); });
    finish_.wait();
    return figures_;
  }

  void onReady(Session& session) override {
    meter_.emplace();
    session.retrieve();
  }
  void onFile(Session& session) override {
    if (--left_ > 0) return session.retrieve();
    meter_->stop(figures_);
    session.leave();
  }
  void onLeft(Session& /*session*/) override { finish_.succeed(); }
  void onFailed(const std::string& text) override { finish_.fail(text); }

 private:
  unsigned long left_;
  std::optional<Meter> meter_;
  Figures figures_;
  Finish finish_;
  Session session_;
};

}  // namespace

Figures files(const Job& job) {
  Dispatcher dispatcher;
  return FileLoop(job).run(dispatcher);
}

}  // namespace bench::own
