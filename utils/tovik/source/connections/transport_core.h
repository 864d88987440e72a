#pragma once

#include <qk/mutex.h>

#include <atomic>
#include <memory>
#include <set>
#include <string>
#include <tr1/functional>
#include <unordered_map>

#include "connections/connection.h"
#include "tovik/connection_counters.h"
#include "tovik/event_handler.h"
#include "tovik/result.h"
#include "tovik/traits.h"

namespace tovik {

class Consumer;
class ConsumerRecord;
class Factory;
class ThreadCallbacks;
class WorkerThread;

/// Something besides connections that ends with its transport.
class TransportCloseListener {
 public:
  virtual ~TransportCloseListener() = default;
  /// The transport closes. Called on the worker.
  virtual void onTransportClose() = 0;
};

/// The part of a transport that exists until the last of its events has returned.
///
/// Threads: hold, release, add, addCloseListener, removeCloseListener, retire, refuseNew, refusesNew and
///          endConnectionsSoon by any thread; the counters as ConnectionCounters states; the rest on the worker.
class TransportCore final : public EventHandler, public std::enable_shared_from_this<TransportCore> {
 public:
  using OnWorker = std::tr1::function<void(WorkerThread*)>;

  TransportCore(std::shared_ptr<WorkerThread> worker, const Traits& traits, ThreadCallbacks* callbacks,
                Factory* factory, const OnWorker& onWorker, std::string name);
  ~TransportCore() override;

  WorkerThread& worker() const { return *worker_; }
  const Traits& traits() const { return traits_; }
  Factory* factory() const { return factory_; }
  ConnectionCounters& counters() { return counters_; }

  /// Keeps a consumer from being destroyed while it is called: see ConsumerHold. Null if it is retired or the transport
  /// is closed.
  std::shared_ptr<ConsumerRecord> hold(Consumer& consumer);
  /// Undoes one hold. After the last one, the consumer is destroyed if it is retired, and its record is removed if it
  /// keeps no channel.
  void release(const std::shared_ptr<ConsumerRecord>& record);

  /// Adds a connection of the consumer and gives it a turn. Holds the consumer until the connection is removed.
  Result add(const std::shared_ptr<Connection>& connection, ConsumerRecord& record);
  /// Does not release the consumer; the caller does that afterwards.
  void removeConnection(Connection& connection, ConsumerRecord& record) noexcept;

  /// Fails once the transport is closed.
  Result addCloseListener(std::shared_ptr<TransportCloseListener> listener);
  void removeCloseListener(const std::shared_ptr<TransportCloseListener>& listener) noexcept;

  void retire(Consumer& consumer);

  /// Notifies the transport's owner that the worker starts to serve it. Called before every event; only the first call
  /// has an effect.
  void start();
  /// Starts the transport, and ends the connections of consumers that other threads have retired.
  void onReady(unsigned events) override;

  /// Ends every connection that exists now. Each consumer has been notified when it returns.
  void endConnections();
  /// Ends every connection as failed, each in a separate turn.
  void endConnectionsSoon() noexcept;

  /// Nothing is added from now on.
  void refuseNew();
  bool refusesNew() const { return closed_; }
  /// Ends everything. Nothing is added from now on.
  void close();

 private:
  /// A consumer whose destructor runs on some thread: nothing may be added for it any more.
  struct BeingDestroyed {
    const Consumer* consumer;
    BeingDestroyed* next;
  };

  std::shared_ptr<ConsumerRecord> findRecord(Consumer& consumer) const QK_REQUIRES(mutex_);
  std::shared_ptr<ConsumerRecord> recordFor(Consumer& consumer) QK_REQUIRES(mutex_);
  std::shared_ptr<ConsumerRecord> takeRetired();
  void destroy(Consumer& consumer) QK_REQUIRES(mutex_);
  void endConnections(const ConsumerRecord* record);
  std::shared_ptr<Connection> firstConnection(const ConsumerRecord* record, unsigned long long highestNumber);

  const std::shared_ptr<WorkerThread> worker_;  // shared: a server may outlive the thread and the dispatcher
  const Traits traits_;
  ThreadCallbacks* const callbacks_;
  Factory* const factory_;
  const std::string name_;

  ConnectionCounters counters_;

  const OnWorker onWorker_;
  bool started_ = false;  // used by the worker only

  qk::Mutex mutex_;                  // never held while a consumer is called
  std::atomic<bool> closed_{false};  // set with the mutex held, read without it, too
  unsigned long long connectionsAdded_ QK_GUARDED_BY(mutex_) = 0;
  ConnectionList<&Connection::inTransport> connections_ QK_GUARDED_BY(mutex_);
  std::set<std::shared_ptr<TransportCloseListener>> closeListeners_ QK_GUARDED_BY(mutex_);
  std::unordered_map<Consumer*, std::shared_ptr<ConsumerRecord>> records_ QK_GUARDED_BY(mutex_);
  // Linked through the records, and through the stack frames of the destroying threads: adding allocates nothing.
  std::shared_ptr<ConsumerRecord> retiredElsewhere_ QK_GUARDED_BY(mutex_);
  BeingDestroyed* beingDestroyed_ QK_GUARDED_BY(mutex_) = nullptr;
};

}  // namespace tovik
