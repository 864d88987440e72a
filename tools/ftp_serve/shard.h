#pragma once

#include <tovik/consumer.h>
#include <tovik/server.h>
#include <tovik/transport.h>

#include <unordered_set>

#include "ftp_serve/client_session.h"

namespace tovik {
class DispatchGenerator;
}

namespace ftp_serve {

/// One worker's share of a server: a listener, and the sessions of those who connected to it.
///
/// Threads: open and close by the server's owner; the sessions live on the worker.
class Lane final : public tovik::ConsumerGenerator, public tovik::SocketCreationCallback, public Session::Keeper {
 public:
  /// shares: other lanes listen on the same address; the kernel spreads the clients over them.
  Lane(const Service& service, tovik::DispatchGenerator& dispatcher, bool shares);
  ~Lane() override;

  tovik::Result open(const tovik::Address& address) { return listener_.startListening(address); }
  const tovik::Address& address() const { return listener_.address(); }
  /// Ends the listener and every session.
  void close();

 private:
  tovik::Consumer* getConsumer() override;
  void onNewSocket(tovik::Socket& socket) override;
  void onSessionEnded(Session& session) override;

  const Service& service_;
  const bool shares_;
  tovik::Transport transport_;
  tovik::Server listener_;
  std::unordered_set<Session*> sessions_;  // owned, through the transport; the worker's
};

}  // namespace ftp_serve
