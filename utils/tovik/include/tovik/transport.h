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

/// An event-driven networking framework: worker threads, and connections whose events they deliver to consumers.
namespace tovik {

class Consumer;
class DispatchGenerator;
class TransportCore;
class WorkerThread;

/// A set of connections that one worker thread serves, so that no two of their events ever overlap.
///
/// Threads:   made, used and destroyed by any thread; an event of its own may destroy it too.
/// Ownership: owns its connections; borrows the callbacks and the factory, which outlive it.
class TOVIK_API Transport {
 public:
  /// Assigns the transport for life to the dispatcher's worker with the fewest transports. `onWorker` is called once,
  /// on the worker, before the first event. Callbacks and factory may be null, the function and the name empty. Throws
  /// Exception if the dispatcher is null.
  Transport(DispatchGenerator* dispatcher, Traits traits, ThreadCallbacks* callbacks, Factory* factory,
            std::tr1::function<void(WorkerThread*)> onWorker, const std::string& name);
  Transport(const Transport&) = delete;
  Transport& operator=(const Transport&) = delete;
  /// Ends every connection and notifies its consumer. Afterwards no event of this transport is running or will run,
  /// except one that has destroyed it.
  ~Transport();

  /// Ends every connection that exists now and returns when each consumer has been notified. On the worker the events
  /// are delivered inside the call; another thread waits for at most limit_ms milliseconds (-1: without limit). False
  /// if the limit has passed; the connections then end later.
  bool deactivateAllConduits(int limit_ms);

  /// Runs f on the worker, between two events, and returns when it has run: see WorkerThread::call. f may destroy the
  /// transport.
  void call(const std::function<void()>& f);

  /// From now on no connection is started or accepted; existing ones continue. The first step of destroying a session
  /// whose consumers might start connections when they are notified of the end. Any thread.
  void refuseNew();
  /// Whether refuseNew or the destructor has been called. Any thread.
  bool refusesNew() const;

  /// Takes ownership of a consumer, ends its connections without notifying it, and destroys it: at once, on this
  /// thread, if no event of it is running and it has no connection, otherwise on the worker, as soon as the
  /// running event has returned. No further event of the consumer starts. Null has no effect.
  void retire(Consumer* consumer);

  /// The statistics of all its connections so far. Any thread; never waits.
  ConnectionStatistics statistics() const;

  /// The settings that it was made with.
  const Traits& traits() const;

  /// Expires when the destructor starts. A handler uses it to find out whether something that it called has destroyed
  /// the session. On the worker.
  std::weak_ptr<const void> life() const { return life_; }

  /// For endpoints, which add their connections to it.
  const std::shared_ptr<TransportCore>& core() const { return core_; }

 private:
  DispatchGenerator* const dispatcher_;
  std::shared_ptr<TransportCore> core_;
  std::shared_ptr<const void> life_;
};

}  // namespace tovik
