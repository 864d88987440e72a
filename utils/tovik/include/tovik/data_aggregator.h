#pragma once

#include <string>

#include "tovik/data_handler.h"
#include "tovik/data_packetizer.h"
#include "tovik/visibility.h"

namespace tovik {

/// Passes a channel's data to its DataHandler, and decides in which pieces.
///
/// Threads:   the transport's worker only.
/// Ownership: made by the consumer, owned by the framework, which destroys it with its connection.
/// Callbacks: the handler may bring the channel down or destroy the session.
class TOVIK_API DataAggregator {
 public:
  virtual ~DataAggregator() = default;
  /// Takes bytes that were just received. They are valid during the call.
  virtual void handleBuffer(Buffer* buffer, Multicast* multicast) = 0;
};

/// Passes on each buffer as it arrives.
class TOVIK_API SimpleAggregator : public DataAggregator {
 public:
  /// Borrows both.
  SimpleAggregator(Channel* channel, DataHandler* handler) : channel_(channel), handler_(handler) {}
  void handleBuffer(Buffer* buffer, Multicast* multicast) override;

 private:
  Channel* const channel_;
  DataHandler* const handler_;
};

/// Passes on whole units (lines, records), each with its end mark. Copies only an unfinished unit. Logs a unit that is
/// longer than the channel's maxUnitBytes at level 30 and brings the channel down.
class TOVIK_API BufferedAggregator : public DataAggregator {
 public:
  /// Borrows all three. Without a channel the limit is the default of Traits::max_unit_bytes, and nothing is brought
  /// down.
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
  unsigned long searched_ = 0;  // leading bytes of tail_ that contain no end mark
};

}  // namespace tovik
