#pragma once

#include <memory>
#include <utility>

#include "tovik/conduit.h"
#include "tovik/event_handler.h"

namespace tovik {

class Connection;

/// A connection's place in one ConnectionList.
struct ConnectionLinks {
  std::shared_ptr<Connection> self;  // null while it is in no list
  Connection* previous = nullptr;
  Connection* next = nullptr;
};

/// What a transport needs from a connection: functions that end it, and its links in the transport's lists.
///
/// Threads:   requestEnd by any thread; number and the links are guarded by the transport's mutex; the rest on the
///            worker.
/// Ownership: the transport's list and its consumer's list; the worker keeps a connection until the end of the turn in
///            which it ends.
class Connection : public Conduit, public EventHandler, public std::enable_shared_from_this<Connection> {
 public:
  /// Ends the connection now and notifies its consumer before it returns, even if it is called inside one of the
  /// connection's own events. direction: a SocketDir.
  virtual void end(int direction) = 0;
  /// Ends the connection in a separate turn. Only the first request counts.
  virtual void requestEnd(int direction) noexcept = 0;
  /// Whether received data is still passed to the consumer.
  virtual bool delivers() const = 0;

  unsigned long long number = 0;  // a transport numbers its connections as they are added
  ConnectionLinks inTransport;
  ConnectionLinks ofConsumer;
};

/// Connections in the order in which they were added, linked intrusively: adding and removing one takes constant time
/// and no memory. Not thread-safe.
template <ConnectionLinks Connection::*links>
class ConnectionList {
 public:
  Connection* first() const { return first_; }

  /// f must not change the list.
  template <class F>
  void forEach(F f) const {
    for (Connection* each = first_; each != nullptr; each = (each->*links).next) f(*each);
  }

  void add(Connection& connection) {
    ConnectionLinks& added = connection.*links;
    added.self = connection.shared_from_this();
    added.previous = last_;
    (last_ == nullptr ? first_ : (last_->*links).next) = &connection;
    last_ = &connection;
  }

  /// REQUIRES: the connection is in the list. Destroys nothing: the caller releases what is returned.
  [[nodiscard]] std::shared_ptr<Connection> remove(Connection& connection) noexcept {
    ConnectionLinks removed = std::exchange(connection.*links, ConnectionLinks());
    (removed.previous == nullptr ? first_ : (removed.previous->*links).next) = removed.next;
    (removed.next == nullptr ? last_ : (removed.next->*links).previous) = removed.previous;
    return std::move(removed.self);
  }

 private:
  Connection* first_ = nullptr;
  Connection* last_ = nullptr;
};

}  // namespace tovik
