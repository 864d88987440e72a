#pragma once

#include "tovik/descriptor.h"
#include "tovik/visibility.h"

namespace tovik {

/// Why a connection has ended, where its direction does not say it.
enum class EndCause {
  other,     ///< what the direction says; or it has not ended
  limit,     ///< this side ended it since a time limit had passed
  exception  ///< an exception left an event of its consumer
};

/// The two directions of bytes on one connection, as its consumer sees them.
///
/// Threads:   send, sendFile, bringDown and bringDownWhenSent by any thread; the rest on the transport's worker.
/// Ownership: the framework's. A consumer may call it for as long as both the consumer and the transport live, or until
///            it calls release, however long ago the connection ended: once the channel is down nothing here has an
///            effect.
class TOVIK_API Channel {
 public:
  virtual ~Channel() = default;

  /// Sends the bytes, whole and in call order: at once as far as the kernel takes them, the rest, which is copied, as
  /// soon as it does. A failure ends the connection.
  virtual void send(const char* data, unsigned long size) = 0;

  /// Sends size bytes of a file from offset on, after everything sent before. A file that turns out shorter ends
  /// the connection as failed.
  virtual void sendFile(Descriptor file, long offset, unsigned long size) = 0;

  /// Ends the connection. On the worker no further data reaches the consumer, not even what has been received
  /// already; onChannelDown and onConduitInactive follow as events of their own. What was sent before is handed to
  /// the kernel as far as it takes it at that moment.
  virtual void bringDown() = 0;

  /// Ends the connection once everything sent has been handed to the kernel; later sends are dropped.
  virtual void bringDownWhenSent() = 0;

  /// Whether received data still goes to the consumer: not before the channel is up, nor after bringDown.
  virtual bool delivers() const = 0;

  /// Traits::max_unit_bytes of the transport.
  virtual unsigned long maxUnitBytes() const = 0;

  /// Why it is down.
  virtual EndCause endCause() const { return EndCause::other; }

  /// The consumer promises not to use the pointer any more. Without this a consumer that lives through very many
  /// connections keeps the memory of all their channels.
  virtual void release() {}
};

}  // namespace tovik
