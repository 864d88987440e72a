#pragma once

#include <atomic>
#include <list>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <tr1/functional>
#include <unordered_map>

#include "tovik/connection_counters.h"
#include "tovik/event_handler.h"
#include "tovik/result.h"
#include "tovik/traits.h"

namespace tovik {

class Consumer;
class ConsumerRecord;
class Factory;
class Acceptor;
class Socket;
class TcpConduit;
class ThreadCallbacks;
class WorkerThread;

/// The part of a transport that lives on for as long as one of its events is on a stack.
///
/// Threads: hold, release, addConduit, addAcceptor, removeAcceptor, retire and endConduitsSoon by any thread; the
///          counters as they say; the rest on the worker.
class TransportCore final : public EventHandler, public std::enable_shared_from_this<TransportCore> {
 public:
  using OnWorker = std::tr1::function<void(WorkerThread*)>;
  using Conduits = std::list<std::shared_ptr<TcpConduit>>;

  /// A conduit's positions in the lists of its transport and of its consumer.
  struct Place {
    Conduits::iterator inTransport;
    std::list<TcpConduit*>::iterator inRecord;
  };

  TransportCore(std::shared_ptr<WorkerThread> worker, const Traits& traits, ThreadCallbacks* callbacks,
                Factory* factory, const OnWorker& onWorker, std::string name);
  ~TransportCore() override;

  WorkerThread& worker() const { return *worker_; }
  const Traits& traits() const { return traits_; }
  Factory* factory() const { return factory_; }
  ConnectionCounters& counters() { return counters_; }

  /// Keeps a consumer from going while something is done for it: see ConsumerHold. Null when it has been given back or
  /// the transport is closed.
  std::shared_ptr<ConsumerRecord> hold(Consumer& consumer);
  /// Gives a hold back. Destroys the consumer if that was the last one and it is retired; forgets it if that was the
  /// last one and it never was connected.
  void release(const std::shared_ptr<ConsumerRecord>& record);

  /// Takes over a socket that is connecting, or connected already, for a consumer. limit_ms as in Client.
  Result addConduit(Socket socket, bool connected, const std::shared_ptr<ConsumerRecord>& record,
                    const std::string& name, int limit_ms);
  /// Forgets a conduit whose consumer has been told everything.
  void removeConduit(const Place& place, ConsumerRecord& record) noexcept;

  /// Ends the acceptor with the transport, unless it is removed before. Fails once the transport is closed.
  Result addAcceptor(std::shared_ptr<Acceptor> acceptor);
  void removeAcceptor(const std::shared_ptr<Acceptor>& acceptor) noexcept;

  void retire(Consumer& consumer);

  /// The transport's first turn, before its first event.
  void begin();
  void onReady(unsigned /*events*/) override { begin(); }

  /// Ends every connection there is now, and has told its consumer when it returns.
  void endConduits();
  void endConduitsOf(ConsumerRecord& record);
  /// Ends every connection as failed, each in a turn of its own.
  void endConduitsSoon() noexcept;

  /// Nothing is added any more.
  void refuseNew();
  bool refusesNew() const { return closed_; }
  /// Ends everything and takes nothing new.
  void close();

 private:
  /// A consumer whose destructor is running on some thread: nothing may be added for it any more.
  struct BeingDestroyed {
    const Consumer* consumer;
    BeingDestroyed* next;
  };

  std::shared_ptr<ConsumerRecord> findRecord(Consumer& consumer) const;
  std::shared_ptr<ConsumerRecord> recordFor(Consumer& consumer);
  void destroy(Consumer& consumer, std::unique_lock<std::mutex> lock);
  void endConduits(ConsumerRecord* record);
  std::shared_ptr<TcpConduit> firstConduit(ConsumerRecord* record);

  const std::shared_ptr<WorkerThread> worker_;  // ends with its dispatcher; a listener may outlive both
  const Traits traits_;
  ThreadCallbacks* const callbacks_;
  Factory* const factory_;
  const std::string name_;

  ConnectionCounters counters_;

  const OnWorker onWorker_;
  bool started_ = false;  // the worker's alone

  std::mutex mutex_;                 // guards the members below; never held while a consumer is called
  std::atomic<bool> closed_{false};  // read without the mutex, too
  unsigned long long conduitsAdded_ = 0;
  Conduits conduits_;
  std::set<std::shared_ptr<Acceptor>> acceptors_;  // the open ones
  std::unordered_map<Consumer*, std::shared_ptr<ConsumerRecord>> records_;
  BeingDestroyed* beingDestroyed_ =
      nullptr;  // linked through the stacks of the threads that destroy: that must not need memory
};

}  // namespace tovik
