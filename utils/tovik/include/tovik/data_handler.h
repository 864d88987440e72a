#pragma once

#include "tovik/buffer.h"
#include "tovik/visibility.h"

namespace tovik {

class Channel;
class Multicast;

/// Takes the data of a channel. The buffer and the bytes are valid during the call; multicast is null on TCP.
/// On the transport's worker.
class TOVIK_API DataHandler {
 public:
  virtual ~DataHandler() = default;
  /// Takes the data as a buffer, as a SimpleAggregator or a BufferedAggregator hands it on.
  virtual void onBuffer(Channel* channel, Buffer* buffer, Multicast* multicast) = 0;
  /// Takes the data as characters.
  virtual void onData(Channel* channel, const char* data, unsigned long size, Multicast* multicast) = 0;
};

/// A DataHandler that wants characters, not buffers.
class TOVIK_API CharHandler : public DataHandler {
 public:
  void onBuffer(Channel* channel, Buffer* buffer, Multicast* multicast) override {
    onData(channel, buffer->curr(), buffer->remaining(), multicast);
  }
};

}  // namespace tovik
