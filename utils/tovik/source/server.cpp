#include "tovik/server.h"

#include <qk/logging/logging.h>

#include <cerrno>
#include <exception>
#include <new>
#include <utility>

#include "reception.h"
#include "system.h"
#include "system_error.h"
#include "transport_core.h"

namespace tovik {

namespace {

// How long a server that has run out of descriptors waits before it tries again.
constexpr int outOfDescriptorsPause_ms = 100;

/// An accepted connection on its way to the worker.
class Arrival final : public EventHandler {
 public:
  Arrival(std::shared_ptr<Reception> reception, Socket connection)
      : reception_(std::move(reception)), connection_(std::move(connection)) {}
  void onReady(unsigned /*events*/) override { reception_->admit(std::move(connection_)); }

 private:
  const std::shared_ptr<Reception> reception_;
  Socket connection_;
};

}  // namespace

Server::Server(Transport& transport, Protocol protocol, ConsumerGenerator* generator, const std::string& name,
               bool keep_alive, SocketCreationCallback* callback, SocketOptions* options)
    : ApplicationBase(transport, protocol, name, keep_alive, options),
      Thread(name),
      callback_(callback),
      reception_(std::make_shared<Reception>(core_, generator, name)) {}

Server::~Server() { static_cast<void>(Server::stopListening(-1)); }

Result Server::startListening(const Address& address) try {
  if (socket_.isOpen()) return failure("listening on " + address_.printInet() + " already");
  Result started = listenOn(address);
  if (started) {
    reception_->open();
    started = Thread::start();
  }
  if (!started) {
    reception_->close();
    socket_.close();
  }
  return started;
} catch (const std::bad_alloc&) {
  reception_->close();
  socket_.close();
  return failure("out of memory");
}

Result Server::listenOn(const Address& address) {
  if (Result set = setupSocket(socket_, callback_); !set) return set;
  if (Result listening = socket_.listen(address); !listening) return listening;
  address_ = socket_.localAddress();
  return Success;
}

Result Server::stopListening(int limit_ms) {
  if (!socket_.isOpen()) return Success;
  reception_->close();
  stop();
  if (!join(limit_ms)) return failure("the listener on " + address_.printInet() + " has not ended in time");
  socket_.close();
  return Success;
}

void Server::stop() {
  Thread::stop();
  // Ends the wait for a connection, as writing to an eventfd would, without one.
  if (socket_.isOpen()) sys::shutdown(socket_.number());
}

void Server::run(const volatile bool& stopping) {
  Address remote;
  Address local;
  while (!isSet(stopping)) {
    try {
      Socket connection;
      if (waitForConnection(connection, remote, local, -1))
        core_->schedule(std::make_shared<Arrival>(reception_, std::move(connection)));
    } catch (const std::exception& error) {
      QK_LOG(qk::logging::LogLevel::Warning) << "Tovik: " << name() << ": connection refused: " << error.what();
    }
  }
}

Result Server::waitForConnection(Socket& connection, Address& remote, Address& local, int limit_ms) {
  pollfd listening{socket_.number(), POLLIN, 0};
  if (sys::poll(&listening, 1, limit_ms) < 0 && errno != EINTR) return systemFailure("poll");
  if ((listening.revents & POLLHUP) != 0) return failure("stopped listening on " + address_.printInet());
  if (listening.revents == 0) return failure("no connection in time on " + address_.printInet());
  if (socket_.accept(connection, remote)) {
    // Its options need no setting: an accepted socket has those of the listening one.
    local = connection.localAddress();
    return Success;
  }
  const int error = errno;
  Result refused = systemFailure("accept on " + address_.printInet(), error);
  if (error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM) {
    QK_LOG(qk::logging::LogLevel::Warning) << "Tovik: " << name() << ": " << refused.message;
    // The connection still waits, so the listening socket stays readable: without a pause this would spin.
    pollfd stopping{socket_.number(), 0, 0};
    sys::poll(&stopping, 1, outOfDescriptorsPause_ms);
  }
  return refused;
}

}  // namespace tovik
