#pragma once

#include <functional>
#include <memory>
#include <string>
#include <tr1/functional>

#include "tovik/connection_statistics.h"
#include "tovik/factory.h"
#include "tovik/thread_callbacks.h"
#include "tovik/traits.h"
#include "tovik/visibility.h"

/// The framework: event loops, and connections on them that bring events to consumers.
namespace tovik {

class Consumer;
class DispatchGenerator;
class TransportCore;
class WorkerThread;

/// A set of connections that live on one worker thread, so that no two of their events ever overlap.
///
/// Threads:   made and used by any thread; destroyed by any thread, from inside an event of its own too.
/// Ownership: owns its connections; borrows the callbacks and the factory, which outlive it.
class TOVIK_API Transport {
 public:
  /// Pins the transport to the worker of the dispatcher that serves the fewest. `onWorker` is called once, on the
  /// worker, before the first event. Callbacks and factory may be null, the function and the name empty. Throws
  /// Exception without a dispatcher.
  Transport(DispatchGenerator* dispatcher, Traits traits, ThreadCallbacks* callbacks, Factory* factory,
            std::tr1::function<void(WorkerThread*)> onWorker, const std::string& name);
  Transport(const Transport&) = delete;
  Transport& operator=(const Transport&) = delete;
  /// Ends every connection and notifies its consumer. Afterwards no event of this transport is running or will run,
  /// except the one that it is destroyed from.
  ~Transport();

  /// Ends every connection there is at this moment and returns when each consumer has been notified: on the worker the
  /// events come from inside the call, else within limit_ms milliseconds (-1: until done). False when the limit has
  /// passed; the connections then end later.
  bool deactivateAllConduits(int limit_ms);

  /// Runs f on the worker, between two events, and returns when it has run: see WorkerThread::call. f may destroy the
  /// transport.
  void call(const std::function<void()>& f);

  /// Takes nothing new from now on: no connection is started or accepted any more, those that exist go on. The first
  /// step of destroying a session whose consumers could start anew when they are notified of the end. Any thread.
  void refuseNew();
  /// Whether refuseNew has been called, or the destructor. Any thread.
  bool refusesNew() const;

  /// Takes a consumer's ownership and destroys it: at once, on this thread, when none of its events is running and
  /// none of its connections is left, after ending those where this is the worker; otherwise on the worker, as soon
  /// as the running event has returned. No event that has not begun reaches it any more. Null does nothing.
  void retire(Consumer* consumer);

  /// Of all its connections so far. By any thread, at any moment; waits for nothing.
  ConnectionStatistics statistics() const;

  /// The settings that it was made with.
  const Traits& traits() const;

  /// Expires when the transport begins to be destroyed: how a handler finds out that what it called destroyed the
  /// session. On the worker.
  std::weak_ptr<const void> life() const { return life_; }

  /// For endpoints: what their connections are added to.
  const std::shared_ptr<TransportCore>& core() const { return core_; }

 private:
  DispatchGenerator* const dispatcher_;
  std::shared_ptr<TransportCore> core_;
  std::shared_ptr<const void> life_;
};

}  // namespace tovik
