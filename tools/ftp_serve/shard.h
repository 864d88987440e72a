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

/// One worker's share of a server: a listener, and the sessions of the clients that connected to it.
///
/// Threads: open and close by the server's owner; the sessions run on the worker.
class Shard final : public tovik::ConsumerGenerator, public tovik::SocketCreationCallback, public ClientSession::Owner {
 public:
  /// sharesAddress: other shards listen on the same address, and the kernel distributes the clients among them.
  Shard(const Service& service, tovik::DispatchGenerator& dispatcher, bool sharesAddress);
  ~Shard() override;

  tovik::Result open(const tovik::Address& address) { return listener_.startListening(address); }
  const tovik::Address& address() const { return listener_.address(); }
  /// Stops the listener and ends every session.
  void close();

 private:
  tovik::Consumer* getConsumer() override;
  void onNewSocket(tovik::Socket& socket) override;
  void onSessionEnded(ClientSession& session) override;

  const Service& service_;
  const bool sharesAddress_;
  tovik::Transport transport_;
  tovik::Server listener_;
  std::unordered_set<ClientSession*> sessions_;  // owned; retired through the transport; worker only
};

}  // namespace ftp_serve
