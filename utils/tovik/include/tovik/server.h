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

/// Listens, and calls the generator on the transport's worker to get the consumer of each accepted connection.
///
/// It has the interface of a Thread, but starts none: the worker calls `run` when a connection waits. A thread for each
/// transfer would cost more than the transfer.
///
/// Threads:   startListening, stopListening and start by one owner at a time; stop, is_running and print by any thread.
/// Ownership: borrows the generator, the callback and the options, which must exist until it stops listening. May
///            outlive the transport: it stops listening when the transport is destroyed. The destructor stops
///            listening; accepted connections continue. A derived class stops listening in its own destructor, because
///            the worker calls virtual functions.
class TOVIK_API Server : public ApplicationBase, public Thread {
 public:
  /// The callback, which may be null, is notified of the listening socket. options: null means those of the transport.
  Server(Transport& transport, Protocol protocol, ConsumerGenerator* generator, const std::string& name,
         bool keep_alive, SocketCreationCallback* callback, SocketOptions* options);
  ~Server() override;

  /// Port 0 means any free port; address() then returns it. Fails if the server is listening already.
  virtual Result startListening(const Address& address);

  /// Stops, waits as join does, and closes the listening socket. After success the generator is not called any more,
  /// and connections without a consumer are closed. Fails if the limit has passed. Does nothing if it is not listening.
  virtual Result stopListening(int limit_ms);

  /// Accepts one waiting connection and hands it to its consumer.
  void run(const volatile bool& stopping) override;

  /// Waits for a connection, for at most limit_ms milliseconds (-1: without limit). Fails if the limit has passed, it
  /// is not listening, or accept fails. Running out of descriptors is logged at level 30, and the worker tries again
  /// 100 ms later.
  virtual Result waitForConnection(Socket& connection, Address& remote, Address& local, int limit_ms);

  /// Accepts connections from now on. startListening calls it.
  Result start() override;
  /// Accepts no more connections; does not wait. Peers that connect stay in the backlog.
  void stop() override;
  /// If the generator is being called, waits until that call has returned, for at most limit_ms milliseconds (-1:
  /// without limit).
  /// Returns true at once on the worker, including inside the generator.
  bool join(int limit_ms) override;
  bool is_running() const override;

  /// The address that the server listens on.
  const Address& address() const { return address_; }

 private:
  Result listenOn(const Address& address);
  Result refuse(int error);

  SocketCreationCallback* const callback_;
  const std::shared_ptr<Acceptor> acceptor_;
  Socket socket_;  // this and the next are constant while it is running
  Address address_;
};

}  // namespace tovik
