#pragma once

#include <memory>
#include <mutex>
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

/// Where a server's connections arrive: calls the server on the worker while one waits, and hands it to its consumer.
/// Lives on while the worker is in it, when the server may be gone already.
///
/// Threads:   open, close, wait and isOpen by any thread; the rest on the worker.
/// Ownership: the server's, and while it is open the transport's too. Borrows the listening socket.
class Acceptor final : public EventHandler,
                       public TransportCloseListener,
                       public std::enable_shared_from_this<Acceptor> {
 public:
  /// Borrows the server, until `wait` has come true after `close`. The name is for logs, and the connections'.
  Acceptor(std::shared_ptr<TransportCore> core, ConsumerGenerator* generator, Thread& server, std::string name);

  /// Fails when it is open already, or the transport is closed.
  Result open(int listening);
  /// No call of the server begins any more, and no connection is handed over.
  void close();
  /// The same for a transport that closes before its server stops: a peer that connects then is refused.
  void onTransportClose() override;
  /// Waits for a call of the server to return, at most limit_ms milliseconds (-1: until it has). On the worker there is
  /// none, except one further up this very stack.
  bool wait(int limit_ms);
  /// Also while the last call of the server is still running.
  bool isOpen() const;

  /// Asks for the connection's consumer and adds it to the transport; closes it where there is none.
  void admit(Socket connection);
  /// Leaves the server alone for a while.
  void pause();

  void onReady(unsigned events) override;
  void onTimer() override;

 private:
  void stopWatching();
  void watchAgain();
  bool startCall();
  void endCall() noexcept;
  void handOver(Socket connection, Consumer& consumer);
  Result add(Socket connection, const std::shared_ptr<ConsumerRecord>& consumer);

  const std::shared_ptr<TransportCore> core_;
  ConsumerGenerator* const generator_;
  Thread& server_;
  const std::string name_;

  std::optional<TimerQueue::Id> pause_;  // the worker's alone

  mutable std::mutex mutex_;  // guards the members below
  int listening_ = -1;
  bool watched_ = false;           // the worker watches for arrivals
  volatile bool stopping_ = true;  // read by the server without the mutex
  bool calling_ = false;
};

}  // namespace tovik
