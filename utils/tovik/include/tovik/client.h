#pragma once

#include <string>

#include "tovik/address.h"
#include "tovik/application_base.h"
#include "tovik/visibility.h"

namespace tovik {

class Consumer;

/// Makes outgoing connections. A connection belongs to the transport: the Client may be destroyed as soon as the call
/// returns.
class TOVIK_API Client : public ApplicationBase {
 public:
  /// The consumer is notified of the connections on the transport's worker. The name is for logs. options: null means
  /// those of the transport.
  Client(Transport& transport, Protocol protocol, Consumer& consumer, const std::string& name, bool keep_alive,
         SocketOptions* options);

  /// Starts to connect from the local address (port 0: any port; host 0.0.0.0: the kernel's choice) to the remote one,
  /// and returns without waiting. limit_ms: the time to connect, in milliseconds; -1 means no limit. Fails if the
  /// connection can't be started: it is refused at once, the local address can't be used, descriptors or memory have
  /// run out, the consumer is retired or the transport is closed. In that case no event follows. Everything else is
  /// reported by events, never from inside the call. Any thread.
  Result setup_and_connect(const Address& remote, const Address& local, int limit_ms);

 private:
  Consumer& consumer_;
};

}  // namespace tovik
