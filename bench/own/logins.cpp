#include "meter.h"
#include "own/dispatcher.h"
#include "own/finish.h"
#include "own/session_pool.h"
#include "works.h"

namespace bench::own {
namespace {

/// Sessions that log in, log out and are destroyed, with a limit on how many do so at the same time.
class Logins final : public SessionOwner {
 public:
  explicit Logins(const Job& job) : sessionsLeft_(job.sessions), pool_(job, *this) {}

  Figures run(Dispatcher& dispatcher) {
    const Meter meter;
    dispatcher.call([this] { pool_.startFirst(); });
    finish_.wait();
    Figures figures;
    meter.stop(figures);
    // The last onLoggedOut has signalled the end, but may still be running.
    dispatcher.call([] {});
    return figures;
  }

  void onReady(BenchSession& session) override { session.logOut(); }
  void onFile(BenchSession& /*session*/) override {}
  void onLoggedOut(BenchSession& session) override {
    pool_.destroy(session);
    pool_.startNext();
    if (--sessionsLeft_ == 0) finish_.succeed();
  }
  void onFailed(const std::string& text) override { finish_.fail(text); }

 private:
  unsigned long sessionsLeft_;
  Finish finish_;
  SessionPool pool_;
};

}  // namespace

Figures logins(const Job& job) {
  Dispatcher dispatcher;
  return Logins(job).run(dispatcher);
}

}  // namespace bench::own
