#include "meter.h"
#include "own/dispatcher.h"
#include "own/finish.h"
#include "own/session_pool.h"
#include "works.h"

namespace bench::own {
namespace {

/// Sessions that log in, log out and are destroyed, a bounded number at the same time.
class Logins final : public SessionOwner {
 public:
  explicit Logins(const Job& job) : left_(job.sessions), pool_(job, *this) {}

  Figures run(Dispatcher& dispatcher) {
    const Meter meter;
    dispatcher.call([this] { pool_.beginFirst(); });
    finish_.wait();
    Figures figures;
    meter.stop(figures);
    // The last onLeft has told the end, but may not have returned.
    dispatcher.call([] {});
    return figures;
  }

  void onReady(Session& session) override { session.leave(); }
  void onFile(Session& /*session*/) override {}
  void onLeft(Session& session) override {
    pool_.destroy(session);
    pool_.beginNext();
    if (--left_ == 0) finish_.succeed();
  }
  void onFailed(const std::string& text) override { finish_.fail(text); }

 private:
  unsigned long left_;
  Finish finish_;
  SessionPool pool_;
};

}  // namespace

Figures logins(const Job& job) {
  Dispatcher dispatcher;
  return Logins(job).run(dispatcher);
}

}  // namespace bench::own
