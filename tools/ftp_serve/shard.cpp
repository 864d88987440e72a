#include "ftp_serve/shard.h"

#include <sys/socket.h>

#include <memory>
#include <utility>

namespace ftp_serve {

namespace {

// A command is a verb and a path; longer lines are not needed.
tovik::Traits shortLines() {
  tovik::Traits traits;
  traits.max_unit_bytes = 8192;
  return traits;
}

}  // namespace

Shard::Shard(const Service& service, tovik::DispatchGenerator& dispatcher, bool sharesAddress)
    : service_(service),
      sharesAddress_(sharesAddress),
      transport_(&dispatcher, shortLines(), nullptr, nullptr, {}, "ftp_serve"),
      listener_(transport_, tovik::Protocol::tcp, this, "ftp_serve", true, this, nullptr) {}

Shard::~Shard() { close(); }

void Shard::close() {
  static_cast<void>(listener_.stopListening(-1));
  transport_.call([this] {
    for (ClientSession* const session : std::exchange(sessions_, {})) transport_.retire(session);
  });
}

tovik::Consumer* Shard::getConsumer() {
  auto session = std::make_unique<ClientSession>(service_, transport_, *this);
  sessions_.insert(session.get());
  return session.release();
}

/// Called for the listening socket only. If it always set SO_REUSEPORT, a second server on the same address would
/// silently take half of the clients.
void Shard::onNewSocket(tovik::Socket& socket) {
  if (!sharesAddress_) return;
  const int on = 1;
  ::setsockopt(socket.number(), SOL_SOCKET, SO_REUSEPORT, &on, sizeof on);
}

void Shard::onSessionEnded(ClientSession& session) {
  sessions_.erase(&session);
  transport_.retire(&session);
}

}  // namespace ftp_serve
