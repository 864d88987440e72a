#pragma once

#include <string>

#include "tovik/address.h"
#include "tovik/application_base.h"
#include "tovik/visibility.h"

namespace tovik {

class Consumer;

/// Makes outgoing connections. A connection belongs to the transport: the Client may go as soon as the call returns.
class TOVIK_API Client : public ApplicationBase {
 public:
  /// The consumer hears of the connections on the transport's worker. Name: for logs. Null options: the transport's.
  Client(Transport& transport, Protocol protocol, Consumer& consumer, const std::string& name, bool keep_alive,
         SocketOptions* options);

  /// Starts to connect from the local address (port 0: any; any host: the kernel's choice) to the remote one and
  /// returns without waiting. limit_ms: give the attempt up after that many milliseconds; -1: no limit of its own. A
  /// refusal that is known at once, or a lack of descriptors or memory, is a failed Result, and no event follows;
  /// everything else is told by events, never from inside the call. Any thread.
  Result setup_and_connect(const Address& remote, const Address& local, int limit_ms);

 private:
  Consumer& consumer_;
};

}  // namespace tovik
