#pragma once

#include "tovik/descriptor.h"
#include "tovik/visibility.h"

namespace tovik {

/// Why a connection ended, in more detail than its direction.
enum class EndCause {
  other,     ///< the direction says it all, or the connection has not ended
  limit,     ///< this side ended it because a time limit had passed
  exception  ///< an exception left an event of its consumer
};

/// One connection as its consumer sees it: sends bytes and ends the connection.
///
/// Threads:   send, sendFile, bringDown and bringDownWhenSent by any thread; the rest on the transport's worker.
/// Ownership: the framework's. A consumer may use the channel until it calls release, while both the consumer and the
///            transport exist, even long after the connection has ended. Calls on a channel that is down have no
///            effect.
class TOVIK_API Channel {
 public:
  virtual ~Channel() = default;

  /// Sends the bytes, in the order of the calls. As many as the kernel accepts are sent at once; the rest is copied,
  /// and sent as soon as the kernel accepts it. A failure ends the connection.
  virtual void send(const char* data, unsigned long size) = 0;

  /// Sends size bytes of a file from offset on, after everything sent before. If the file turns out to be shorter, the
  /// connection ends as failed.
  virtual void sendFile(Descriptor file, long offset, unsigned long size) = 0;

  /// Ends the connection. When called on the worker, no more data reaches the consumer, not even data that has been
  /// received already. onChannelDown and onConduitInactive follow as separate events. Of the bytes that are still
  /// queued, those that the kernel accepts at that moment are sent; the rest is dropped.
  virtual void bringDown() = 0;

  /// Ends the connection once everything that was sent has been handed to the kernel. Later sends are dropped.
  virtual void bringDownWhenSent() = 0;

  /// Whether received data reaches the consumer: false before the channel is up and after bringDown.
  virtual bool delivers() const = 0;

  /// Traits::max_unit_bytes of the transport.
  virtual unsigned long maxUnitBytes() const = 0;

  /// Why the channel is down.
  virtual EndCause endCause() const { return EndCause::other; }

  /// Promises that the consumer will not use the pointer any more, so the channel's memory may be freed. The channels
  /// of a consumer that never calls this are kept until the consumer or the transport is destroyed.
  virtual void release() {}
};

}  // namespace tovik
