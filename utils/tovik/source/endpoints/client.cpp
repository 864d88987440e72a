#include "tovik/client.h"

#include <new>
#include <utility>

#include "connections/consumer_hold.h"
#include "connections/tcp_conduit.h"
#include "tovik/consumer.h"
#include "tovik/socket.h"

namespace tovik {

Client::Client(Transport& transport, Protocol protocol, Consumer& consumer, const std::string& name, bool keep_alive,
               SocketOptions* options)
    : ApplicationBase(transport, protocol, name, keep_alive, options), consumer_(consumer) {}

Result Client::setup_and_connect(const Address& remote, const Address& local, int limit_ms) try {
  const ConsumerHold hold(*core_, consumer_);
  if (!hold) return failure("no connection for " + name_ + ": the consumer is retired or the transport is closed");
  Socket socket;
  if (Result set = setupSocket(socket, &consumer_); !set) return set;
  if (Result bound = socket.bindToConnect(local); !bound) return bound;
  bool connected = false;
  if (Result connecting = socket.connect(remote, connected); !connecting) return connecting;
  return TcpConduit::add(core_, hold.record(), std::move(socket), connected, name_, limit_ms);
} catch (const std::bad_alloc&) {
  return failure("out of memory");
}

}  // namespace tovik
