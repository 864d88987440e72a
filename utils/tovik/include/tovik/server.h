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
class Reception;
class SocketCreationCallback;

/// Listens, on a thread of its own, and hands each accepted connection to the transport's worker, where the generator
/// is asked for the consumer that serves it.
///
/// Threads:   startListening and stopListening by one owner at a time.
/// Ownership: borrows the generator, the callback and the options, which outlive the listening. May outlive the
///            transport. The destructor stops listening; accepted connections go on. A derived class stops it in its
///            own destructor, since the thread calls virtual operations.
class TOVIK_API Server : public ApplicationBase, public Thread {
 public:
  /// The callback is told of the listening socket. Null options: the transport's.
  Server(Transport& transport, Protocol protocol, ConsumerGenerator* generator, const std::string& name,
         bool keep_alive, SocketCreationCallback* callback, SocketOptions* options);
  ~Server() override;

  /// Port 0: any free port, which address() then carries. Fails when it listens already.
  virtual Result startListening(const Address& address);

  /// Stops accepting and waits for the thread, at most limit_ms milliseconds (-1: until it has ended). After success
  /// the generator is not called any more, and connections that had been accepted but not handed to a consumer
  /// are closed. Does nothing when it does not listen.
  virtual Result stopListening(int limit_ms);

  void run(const volatile bool& stopping) override;

  /// Waits for a connection, at most limit_ms milliseconds (-1: until stopped). Fails when the limit passed, when
  /// stopped, or when the system gave none; running out of descriptors is logged at level 30.
  virtual Result waitForConnection(Socket& connection, Address& remote, Address& local, int limit_ms);

  void stop() override;

  /// What it listens on, since startListening succeeded.
  const Address& address() const { return address_; }

 private:
  Result listenOn(const Address& address);

  SocketCreationCallback* const callback_;
  const std::shared_ptr<Reception> reception_;
  Socket socket_;  // this and the next: constant while the thread runs
  Address address_;
};

}  // namespace tovik
