#include "tovik/server.h"

#include <qk/logging/logging.h>

#include <cerrno>
#include <new>
#include <utility>

#include "reception.h"
#include "system.h"
#include "system_error.h"
#include "tovik/worker_thread.h"
#include "transport_core.h"

namespace tovik {

Server::Server(Transport& transport, Protocol protocol, ConsumerGenerator* generator, const std::string& name,
               bool keep_alive, SocketCreationCallback* callback, SocketOptions* options)
    : ApplicationBase(transport, protocol, name, keep_alive, options),
      Thread(name),
      callback_(callback),
      reception_(std::make_shared<Reception>(core_, generator, *this, name)) {}

Server::~Server() { static_cast<void>(Server::stopListening(-1)); }

Result Server::startListening(const Address& address) try {
  if (socket_.isOpen()) return failure("listening on " + address_.printInet() + " already");
  Result started = listenOn(address);
  if (started) started = start();
  if (!started) socket_.close();
  return started;
} catch (const std::bad_alloc&) {
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
  stop();
  if (!join(limit_ms)) return failure("the listener on " + address_.printInet() + " has not ended in time");
  socket_.close();
  return Success;
}

Result Server::start() {
  return socket_.isOpen() ? reception_->open(socket_.number()) : failure(ApplicationBase::name() + " does not listen");
}

void Server::stop() { reception_->close(); }

bool Server::join(int limit_ms) { return reception_->wait(limit_ms); }

bool Server::is_running() const { return reception_->isOpen(); }

void Server::run(const volatile bool& /*stopping*/) {
  Socket connection;
  Address remote;
  Address local;
  if (!waitForConnection(connection, remote, local, 0)) return;
  // The generator may destroy this server.
  const auto reception = reception_;
  reception->admit(std::move(connection));
}

Result Server::waitForConnection(Socket& connection, Address& remote, Address& local, int limit_ms) {
  if (!is_running()) return failure("not listening on " + address_.printInet());
  pollfd listening{socket_.number(), POLLIN, 0};
  if (limit_ms != 0 && sys::poll(&listening, 1, limit_ms) < 0 && errno != EINTR) return systemFailure("poll");
  if (socket_.accept(connection, remote)) {
    // Its options need no setting: an accepted socket has those of the listening one.
    local = connection.localAddress();
    return Success;
  }
  const int error = errno;
  if (error == EAGAIN) return failure("no connection in time on " + address_.printInet());
  Result refused = systemFailure("accept on " + address_.printInet(), error);
  if (error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM) {
    // The connection still waits: without a pause the worker would do nothing but try again.
    if (core_->worker().isCurrent()) reception_->pause();
    // Last, since a log handler may destroy this server.
    QK_LOG(qk::logging::LogLevel::Warning) << "Tovik: " << ApplicationBase::name() << ": " << refused.message;
  }
  return refused;
}

}  // namespace tovik
