#pragma once

#include <qk/mutex.h>

#include <memory>
#include <optional>
#include <string>

#include "connections/transport_core.h"
#include "tovik/event_handler.h"
#include "tovik/result.h"
#include "tovik/timer_queue.h"

namespace tovik {

class Consumer;
class ConsumerGenerator;
class ConsumerRecord;
class Socket;
class Thread;

/// Calls a server on the worker when a connection is waiting, and hands the accepted connection to its consumer. It may
/// outlive the server while the worker uses it.
///
/// Threads:   open, close, wait and isOpen by any thread; the rest on the worker.
/// Ownership: owned by the server and, while it is open, by the transport. Borrows the listening socket.
class Acceptor final : public EventHandler,
                       public TransportCloseListener,
                       public std::enable_shared_from_this<Acceptor> {
 public:
  /// Borrows the server until `wait` has returned true after `close`. The name is for the connections and for logs.
  Acceptor(std::shared_ptr<TransportCore> core, ConsumerGenerator* generator, Thread& server, std::string name);

  /// Fails if it is open already or the transport is closed.
  Result open(int listening);
  /// Stops calling the server and handing over connections.
  void close();
  /// Does the same when the transport closes before the server stops, and makes the kernel refuse new connections.
  void onTransportClose() override;
  /// If the server is being called, waits until that call has returned, for at most limit_ms milliseconds (-1: without
  /// limit).
  /// Returns true at once on the worker.
  bool wait(int limit_ms);
  /// Stays true until the last call to the server has returned.
  bool isOpen() const;

  /// Asks the generator for a consumer and adds the connection to the transport; closes it if there is no consumer.
  void admit(Socket connection);
  /// Stops calling the server for a short time.
  void pause();

  void onReady(unsigned events) override;
  void onTimer() override;

 private:
  void stopWatching() QK_REQUIRES(mutex_);
  void watchAgain();
  bool startCall();
  void endCall() noexcept;
  void handOver(Socket connection, Consumer& consumer);
  Result add(Socket connection, const std::shared_ptr<ConsumerRecord>& consumer);

  const std::shared_ptr<TransportCore> core_;
  ConsumerGenerator* const generator_;
  Thread& server_;
  const std::string name_;

  std::optional<TimerQueue::Id> pause_;  // used by the worker only

  mutable qk::Mutex mutex_;
  int listening_ QK_GUARDED_BY(mutex_) = -1;
  bool watched_ QK_GUARDED_BY(mutex_) = false;  // the worker watches for arrivals
  bool calling_ QK_GUARDED_BY(mutex_) = false;
  volatile bool stopping_ = true;  // changed with the mutex held; read by the server without it
};

}  // namespace tovik
