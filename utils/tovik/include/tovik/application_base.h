#pragma once

#include <memory>
#include <optional>
#include <string>

#include "tovik/protocol.h"
#include "tovik/result.h"
#include "tovik/socket_options.h"
#include "tovik/visibility.h"

namespace tovik {

class Socket;
class SocketCreationCallback;
class Transport;
class TransportCore;

/// The base of Client and Server: their transport, and how their sockets are made.
class TOVIK_API ApplicationBase {
 public:
  virtual ~ApplicationBase() = default;

  /// Makes a socket, with the transport's factory if it has one, sets its options and notifies the callback, which may
  /// be null.
  virtual Result setupSocket(Socket& socket, SocketCreationCallback* callback);

  /// The name of its connections, for logs.
  const std::string& name() const { return name_; }

 protected:
  /// options: null means those of the transport's traits. keep_alive: send TCP keep-alive probes on the connections.
  ApplicationBase(Transport& transport, Protocol protocol, const std::string& name, bool keep_alive,
                  const SocketOptions* options);

  const std::shared_ptr<TransportCore> core_;  ///< the transport's core, which new connections are added to
  const Protocol protocol_;                    ///< of every socket
  const std::string name_;                     ///< see name()
  const bool keepAlive_;                       ///< send keep-alive probes
  const SocketOptions options_;                ///< of every socket
};

}  // namespace tovik
