#pragma once

#include "tovik/visibility.h"

namespace tovik {

class Channel;

/// Where a sockbuf sends to: a channel, or nowhere when it is null.
class TOVIK_API SendDestination {
 public:
  /// Borrows the channel.
  explicit SendDestination(Channel* channel) : channel_(channel) {}
  /// As Channel::send; nowhere when there is none.
  void send(const char* data, unsigned long size) const;
  /// Something that should have been sent is lost: the connection can't go on.
  void fail() const;

 private:
  Channel* channel_;
};

}  // namespace tovik
