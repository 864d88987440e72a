#pragma once

#include "tovik/visibility.h"

namespace tovik {

class Channel;
class Conduit;
class DataAggregator;
class Socket;

/// Is told of a socket when it has been made: before it connects or listens, or right after it was accepted. The
/// place to set options of one's own. On the thread that starts the connection or the listener; for an accepted
/// socket on the transport's worker.
class TOVIK_API SocketCreationCallback {
 public:
  virtual ~SocketCreationCallback() = default;
  /// The socket may be changed, not kept.
  virtual void onNewSocket(Socket& /*socket*/) {}
};

/// Receives the events of connections.
///
/// Threads:   the events of all connections of a transport come on its worker, one after another.
/// Order:     onNewConduit; then, once connected, onConduitActive, getDataAggregator, onNewChannel, onChannelUp, data,
///            onChannelDown; last onConduitInactive. A conduit that never gets connected goes from onNewConduit
///            straight to onConduitInactive. No event repeats, none is lost, none comes after onConduitInactive.
/// Ownership: a consumer that ever had a connection is given back with Transport::retire, or outlives the transport.
/// Callbacks: anything is allowed inside an event, destroying the transport included. An exception that leaves an
///            event is logged at level 30 and ends every connection of the transport; this consumer hears no more
///            of the connection that it came from.
class TOVIK_API Consumer : public SocketCreationCallback {
 public:
  /// Answers true and a heap object in aggregator, which the framework owns from then on; false ends the connection.
  virtual bool getDataAggregator(Channel* channel, DataAggregator*& aggregator) = 0;
  /// The first event of a connection: an attempt is under way, or a peer was accepted.
  virtual void onNewConduit(Conduit* /*conduit*/) {}
  /// It is connected.
  virtual void onConduitActive(Conduit* /*conduit*/) {}
  /// The last event: the connection is over, or never came to be.
  virtual void onConduitInactive(Conduit* conduit) = 0;
  /// The channel that data will come on; it is not up yet.
  virtual void onNewChannel(Channel* /*channel*/) {}
  /// Data may be sent, and will come.
  virtual void onChannelUp(Channel* channel) = 0;
  /// direction: a SocketDir, which side ended it.
  virtual void onChannelDown(Channel* channel, int direction) = 0;
};

/// Gives the consumer that is to serve a newly accepted connection. On the transport's worker.
class TOVIK_API ConsumerGenerator {
 public:
  virtual ~ConsumerGenerator() = default;
  /// Null refuses the connection, which is closed.
  virtual Consumer* getConsumer() = 0;
};

}  // namespace tovik
