#pragma once

#include "tovik/visibility.h"

namespace tovik {

class Channel;

/// Where a sockbuf sends to: a channel, or nowhere if the channel is null.
class TOVIK_API SendDestination {
 public:
  /// Borrows the channel.
  explicit SendDestination(Channel* channel) : channel_(channel) {}
  /// Calls Channel::send. Does nothing without a channel.
  void send(const char* data, unsigned long size) const;
  /// Ends the connection, because bytes that should have been sent are lost.
  void fail() const;

 private:
  Channel* channel_;
};

}  // namespace tovik
