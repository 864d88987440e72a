#include "tovik/transport.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

#include "tovik/consumer.h"
#include "tovik/dispatch_generator.h"
#include "tovik/exception.h"
#include "tovik/worker_thread.h"
#include "transport_core.h"

namespace tovik {

namespace {

/// The end of every connection, for a thread that waits for it only so long.
class Ending final : public EventHandler {
 public:
  explicit Ending(std::shared_ptr<TransportCore> core) : core_(std::move(core)) {}

  void onReady(unsigned /*events*/) override {
    core_->endConduits();
    const std::lock_guard lock(mutex_);
    done_ = true;
    ended_.notify_all();
  }

  bool wait(int limit_ms) {
    std::unique_lock lock(mutex_);
    return ended_.wait_for(lock, std::chrono::milliseconds(limit_ms), [this] { return done_; });
  }

 private:
  const std::shared_ptr<TransportCore> core_;
  std::mutex mutex_;  // guards done_
  std::condition_variable ended_;
  bool done_ = false;
};

}  // namespace

// NOLINTBEGIN(performance-unnecessary-value-param): callbacks come by value, and tr1 has nothing to move them with
Transport::Transport(DispatchGenerator* dispatcher, Traits traits, ThreadCallbacks* callbacks, Factory* factory,
                     std::tr1::function<void(WorkerThread*)> onWorker, const std::string& name)
    // NOLINTEND(performance-unnecessary-value-param)
    : dispatcher_(dispatcher) {
  if (dispatcher == nullptr) throw Exception("transport " + name + " without a dispatcher");
  WorkerThread& worker = dispatcher->acquire();
  try {
    life_ = std::make_shared<char>();
    core_ = std::make_shared<TransportCore>(worker, traits, callbacks, factory, onWorker, name);
  } catch (...) {
    dispatcher->release(worker);
    throw;
  }
  worker.schedule(core_);
}

Transport::~Transport() {
  life_.reset();
  call([this] { core_->close(); });
  dispatcher_->release(core_->worker());
}

bool Transport::deactivateAllConduits(int limit_ms) {
  const auto core = core_;
  WorkerThread& worker = core->worker();
  if (limit_ms < 0 || worker.isCurrent()) {
    worker.call([&core] { core->endConduits(); });
    return true;
  }
  const auto ending = std::make_shared<Ending>(core);
  worker.schedule(ending);
  return ending->wait(limit_ms);
}

ConnectionStatistics Transport::statistics() const { return core_->counters().read(); }

void Transport::call(const std::function<void()>& f) { core_->worker().call(f); }

void Transport::retire(Consumer* consumer) {
  const auto core = core_;
  if (consumer != nullptr) core->retire(*consumer);
}

}  // namespace tovik
