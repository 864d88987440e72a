#pragma once

#include "tovik/buffer.h"
#include "tovik/visibility.h"

namespace tovik {

class Channel;
class Multicast;

/// Receives the data of a channel, on the transport's worker. The buffer and its bytes are valid during the call.
/// multicast is null on TCP.
class TOVIK_API DataHandler {
 public:
  virtual ~DataHandler() = default;
  /// Receives data as a buffer.
  virtual void onBuffer(Channel* channel, Buffer* buffer, Multicast* multicast) = 0;
  /// Receives data as characters.
  virtual void onData(Channel* channel, const char* data, unsigned long size, Multicast* multicast) = 0;
};

/// A DataHandler that receives characters only.
class TOVIK_API CharHandler : public DataHandler {
 public:
  void onBuffer(Channel* channel, Buffer* buffer, Multicast* multicast) override {
    onData(channel, buffer->curr(), buffer->remaining(), multicast);
  }
};

}  // namespace tovik
