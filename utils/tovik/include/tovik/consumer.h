#pragma once

#include "tovik/visibility.h"

namespace tovik {

class Channel;
class Conduit;
class DataAggregator;
class Socket;

/// Is notified of each new socket before it connects or listens, or right after it was accepted, and may set options
/// that SocketOptions does not have. Called on the thread that starts the connection or the listener; for an accepted
/// socket on the transport's worker.
class TOVIK_API SocketCreationCallback {
 public:
  virtual ~SocketCreationCallback() = default;
  /// The socket may be changed, but not kept.
  virtual void onNewSocket(Socket& /*socket*/) {}
};

/// Receives the events of connections.
///
/// Threads:   called on the transport's worker, one event at a time for all its connections.
/// Order:     onNewConduit; then, once connected, onConduitActive, getDataAggregator, onNewChannel, onChannelUp, data,
///            onChannelDown; last onConduitInactive. If the conduit never gets connected, onConduitInactive follows
///            onNewConduit. No event is repeated or lost, and none follows onConduitInactive.
/// Ownership: a consumer that ever had a connection is retired with Transport::retire, or outlives the transport.
/// Callbacks: an event may do anything, including destroying the transport. An exception that leaves an event is logged
///            at level 30 and ends every connection of the transport. For the connection whose event threw, only the
///            end is still reported.
class TOVIK_API Consumer : public SocketCreationCallback {
 public:
  /// Stores a new object in aggregator, which the framework then owns, and returns true; false ends the connection.
  virtual bool getDataAggregator(Channel* channel, DataAggregator*& aggregator) = 0;
  /// The first event: the connection is being made, or was accepted.
  virtual void onNewConduit(Conduit* /*conduit*/) {}
  /// The connection is established.
  virtual void onConduitActive(Conduit* /*conduit*/) {}
  /// The last event: the connection has ended, or could not be made.
  virtual void onConduitInactive(Conduit* conduit) = 0;
  /// The channel that data will arrive on. It is not up yet.
  virtual void onNewChannel(Channel* /*channel*/) {}
  /// Data may be sent, and may arrive from now on.
  virtual void onChannelUp(Channel* channel) = 0;
  /// direction: a SocketDir, which says which side ended it.
  virtual void onChannelDown(Channel* channel, int direction) = 0;
};

/// Provides the consumer of each accepted connection. Called on the transport's worker.
class TOVIK_API ConsumerGenerator {
 public:
  virtual ~ConsumerGenerator() = default;
  /// Null refuses the connection, which is then closed.
  virtual Consumer* getConsumer() = 0;
};

}  // namespace tovik
