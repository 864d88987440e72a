#include "ftp_serve/shard.h"

#include <sys/socket.h>

#include <memory>
#include <utility>

namespace ftp_serve {

namespace {

// A command is a verb and a path: nobody needs longer lines.
tovik::Traits shortLines() {
  tovik::Traits traits;
  traits.max_unit_bytes = 8192;
  return traits;
}

}  // namespace

Lane::Lane(const Service& service, tovik::DispatchGenerator& dispatcher, bool shares)
    : service_(service),
      shares_(shares),
      transport_(&dispatcher, shortLines(), nullptr, nullptr, {}, "ftp_serve"),
      listener_(transport_, tovik::Protocol::tcp, this, "ftp_serve", true, this, nullptr) {}

Lane::~Lane() { close(); }

void Lane::close() {
  static_cast<void>(listener_.stopListening(-1));
  transport_.call([this] {
    for (Session* const session : std::exchange(sessions_, {})) transport_.retire(session);
  });
}

tovik::Consumer* Lane::getConsumer() {
  auto session = std::make_unique<Session>(service_, transport_, *this);
  sessions_.insert(session.get());
  return session.release();
}

/// Of the listening socket only. One that shares without need would let a second server take half of the clients.
void Lane::onNewSocket(tovik::Socket& socket) {
  if (!shares_) return;
  const int on = 1;
  ::setsockopt(socket.number(), SOL_SOCKET, SO_REUSEPORT, &on, sizeof on);
}

void Lane::onSessionEnded(Session& session) {
  sessions_.erase(&session);
  transport_.retire(&session);
}

}  // namespace ftp_serve
