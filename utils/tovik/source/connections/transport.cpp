#include "tovik/transport.h"

#include <utility>

#include "connections/transport_core.h"
#include "tovik/consumer.h"
#include "tovik/dispatch_generator.h"
#include "tovik/exception.h"
#include "tovik/worker_thread.h"

namespace tovik {

// NOLINTBEGIN(performance-unnecessary-value-param): callbacks are passed by value, and tr1 cannot move them
Transport::Transport(DispatchGenerator* dispatcher, Traits traits, ThreadCallbacks* callbacks, Factory* factory,
                     std::tr1::function<void(WorkerThread*)> onWorker, const std::string& name)
    // NOLINTEND(performance-unnecessary-value-param)
    : dispatcher_(dispatcher) {
  if (dispatcher == nullptr) throw Exception("transport " + name + " without a dispatcher");
  const std::shared_ptr<WorkerThread> worker = dispatcher->acquire();
  try {
    life_ = std::make_shared<char>();
    core_ = std::make_shared<TransportCore>(worker, traits, callbacks, factory, onWorker, name);
  } catch (...) {
    dispatcher->release(*worker);
    throw;
  }
  worker->schedule(core_);
}

Transport::~Transport() {
  call([this] {
    life_.reset();
    core_->close();
  });
  dispatcher_->release(core_->worker());
}

bool Transport::deactivateAllConduits(int limit_ms) {
  const auto core = core_;
  // A call that outlasts the limit needs the core. Without a limit, nothing is allocated.
  if (limit_ms >= 0) return core->worker().callWithin([core] { core->endConnections(); }, limit_ms);
  core->worker().call([&core] { core->endConnections(); });
  return true;
}

void Transport::refuseNew() { core_->refuseNew(); }

bool Transport::refusesNew() const { return core_->refusesNew(); }

const Traits& Transport::traits() const { return core_->traits(); }

ConnectionStatistics Transport::statistics() const { return core_->counters().read(); }

void Transport::call(const std::function<void()>& f) { core_->worker().call(f); }

void Transport::retire(Consumer* consumer) {
  const auto core = core_;
  if (consumer != nullptr) core->retire(*consumer);
}

}  // namespace tovik
