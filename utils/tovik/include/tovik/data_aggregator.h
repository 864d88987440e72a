#pragma once

#include <string>

#include "tovik/data_handler.h"
#include "tovik/data_packetizer.h"
#include "tovik/visibility.h"

namespace tovik {

/// Stands between a channel and its DataHandler and decides in which pieces the data is handed on.
///
/// Threads:   the transport's worker only.
/// Ownership: made by the consumer, owned by the framework, which destroys it with its connection.
/// Callbacks: the handler may bring the channel down or destroy the session; nothing of either is touched afterwards.
class TOVIK_API DataAggregator {
 public:
  virtual ~DataAggregator() = default;
  /// Takes what was just received; the bytes are valid during the call.
  virtual void handleBuffer(Buffer* buffer, Multicast* multicast) = 0;
};

/// Hands on every buffer as it comes.
class TOVIK_API SimpleAggregator : public DataAggregator {
 public:
  /// Borrows both.
  SimpleAggregator(Channel* channel, DataHandler* handler) : channel_(channel), handler_(handler) {}
  void handleBuffer(Buffer* buffer, Multicast* multicast) override;

 private:
  Channel* const channel_;
  DataHandler* const handler_;
};

/// Hands on whole units, each with its end mark, straight out of the received bytes; keeps only an unfinished tail.
/// A unit longer than the channel's maxUnitBytes is logged at level 30 and brings the channel down.
class TOVIK_API BufferedAggregator : public DataAggregator {
 public:
  /// Borrows all three. Without a channel the limit is that of default Traits, and nothing is brought down.
  BufferedAggregator(Channel* channel, DataHandler* handler, DataPacketizer* packetizer);
  void handleBuffer(Buffer* buffer, Multicast* multicast) override;

 private:
  bool wantsMore() const;
  bool finishTail(Buffer& buffer, Multicast* multicast);
  void keepTail(const Buffer& rest, unsigned long searched);
  bool handOn(Buffer unit, Multicast* multicast);
  void refuseLongUnit();

  Channel* const channel_;
  DataHandler* const handler_;
  DataPacketizer* const packetizer_;
  const unsigned long maxUnitBytes_;

  std::string tail_;            // the start of an unfinished unit
  unsigned long searched_ = 0;  // bytes of tail_ that hold no end for certain
};

}  // namespace tovik
