#pragma once

#include <memory>
#include <string>

#include "tovik/address.h"
#include "tovik/application_base.h"
#include "tovik/socket.h"
#include "tovik/thread.h"
#include "tovik/visibility.h"

namespace tovik {

class ConsumerGenerator;
class Acceptor;
class SocketCreationCallback;

/// Listens, and asks the generator on the transport's worker for the consumer that serves each accepted connection.
///
/// It is a Thread in all that can be asked of it, but takes none from the system: the worker calls `run` while a
/// connection waits. To make a thread for each transfer would cost more than the transfer.
///
/// Threads:   startListening, stopListening and start by one owner at a time; stop, is_running and print by any thread.
/// Ownership: borrows the generator, the callback and the options, which outlive the listening. May outlive the
///            transport, with which the listening ends. The destructor stops listening; accepted connections go on. A
///            derived class stops it in its own destructor, since the worker calls virtual operations.
class TOVIK_API Server : public ApplicationBase, public Thread {
 public:
  /// The callback is told of the listening socket. Null options: the transport's.
  Server(Transport& transport, Protocol protocol, ConsumerGenerator* generator, const std::string& name,
         bool keep_alive, SocketCreationCallback* callback, SocketOptions* options);
  ~Server() override;

  /// Port 0: any free port, which address() then carries. Fails when it listens already.
  virtual Result startListening(const Address& address);

  /// stop and join, and gives the port back. After success the generator is not called any more, and connections that
  /// have no consumer yet are closed. Fails when the limit passed. Does nothing when it does not listen.
  virtual Result stopListening(int limit_ms);

  /// Accepts one connection that waits and hands it to its consumer.
  void run(const volatile bool& stopping) override;

  /// Waits for a connection, at most limit_ms milliseconds (-1: until there is one). Fails when the limit passed, when
  /// it does not listen, or when the system gave none. Running out of descriptors is logged at level 30, and the worker
  /// tries again 100 ms later.
  virtual Result waitForConnection(Socket& connection, Address& remote, Address& local, int limit_ms);

  /// Accepts from now on what connects to the address that startListening has bound, and has called this.
  Result start() override;
  /// Accepts nothing more, and does not wait; who connects is kept waiting.
  void stop() override;
  /// Waits for the generator that is being asked, at most limit_ms milliseconds (-1: until it has answered). True at
  /// once on the worker, also from inside the generator.
  bool join(int limit_ms) override;
  bool is_running() const override;

  /// What it listens on, since startListening succeeded.
  const Address& address() const { return address_; }

 private:
  Result listenOn(const Address& address);
  Result refuse(int error);

  SocketCreationCallback* const callback_;
  const std::shared_ptr<Acceptor> acceptor_;
  Socket socket_;  // this and the next: constant while it is running
  Address address_;
};

}  // namespace tovik
