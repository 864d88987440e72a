#include "tovik/server.h"

#include <qk/logging/logging.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <new>
#include <utility>

#include "connections/acceptor.h"
#include "connections/transport_core.h"
#include "tovik/worker_thread.h"
#include "values/system.h"
#include "values/system_error.h"

namespace tovik {

namespace {

/// The end of a wait of limit_ms milliseconds; -1 means no end.
class Deadline {
 public:
  explicit Deadline(int limit_ms) : limit_ms_(limit_ms), begin_(std::chrono::steady_clock::now()) {}

  bool hasPassed() const { return remaining_ms() == 0; }
  int remaining_ms() const {
    if (limit_ms_ < 0) return -1;
    const auto passed =
        std::chrono::floor<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin_).count();
    return static_cast<int>(std::max<long>(0, limit_ms_ - passed));
  }

 private:
  const int limit_ms_;
  const std::chrono::steady_clock::time_point begin_;
};

}  // namespace

Server::Server(Transport& transport, Protocol protocol, ConsumerGenerator* generator, const std::string& name,
               bool keep_alive, SocketCreationCallback* callback, SocketOptions* options)
    : ApplicationBase(transport, protocol, name, keep_alive, options),
      Thread(name),
      callback_(callback),
      acceptor_(std::make_shared<Acceptor>(core_, generator, *this, name)) {}

Server::~Server() { static_cast<void>(Server::stopListening(-1)); }

Result Server::startListening(const Address& address) try {
  if (socket_.isOpen()) return failure("already listening on " + address_.printInet());
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
  if (!join(limit_ms)) return failure("the listener on " + address_.printInet() + " has not stopped in time");
  socket_.close();
  return Success;
}

Result Server::start() {
  return socket_.isOpen() ? acceptor_->open(socket_.number()) : failure(ApplicationBase::name() + " is not listening");
}

void Server::stop() { acceptor_->close(); }

bool Server::join(int limit_ms) { return acceptor_->wait(limit_ms); }

bool Server::is_running() const { return acceptor_->isOpen(); }

void Server::run(const volatile bool& /*stopping*/) {
  Socket connection;
  Address remote;
  Address local;
  if (!waitForConnection(connection, remote, local, 0)) return;
  // The generator may destroy this server.
  const auto acceptor = acceptor_;
  acceptor->admit(std::move(connection));
}

Result Server::waitForConnection(Socket& connection, Address& remote, Address& local, int limit_ms) {
  const Deadline deadline(limit_ms);
  while (is_running()) {
    if (socket_.accept(connection, remote)) {
      // An accepted socket has the options of the listening one.
      local = connection.localAddress();
      return Success;
    }
    if (errno != EAGAIN) return refuse(errno);
    if (deadline.hasPassed()) return failure("no connection on " + address_.printInet() + " in time");
    pollfd listening{socket_.number(), POLLIN, 0};
    if (sys::poll(&listening, 1, deadline.remaining_ms()) < 0 && errno != EINTR) return systemFailure("poll");
  }
  return failure("not listening on " + address_.printInet());
}

/// Handles a failed accept. If descriptors or memory have run out, the connection is still waiting, and without a pause
/// the worker would retry in a busy loop.
Result Server::refuse(int error) {
  Result refused = systemFailure("accept on ", address_, error);
  if (error != EMFILE && error != ENFILE && error != ENOBUFS && error != ENOMEM) return refused;
  if (core_->worker().isCurrent()) acceptor_->pause();
  // Last, because a log handler may destroy this server.
  QK_LOG(qk::logging::LogLevel::Warning) << "Tovik: " << ApplicationBase::name() << ": " << refused.message;
  return refused;
}

}  // namespace tovik
