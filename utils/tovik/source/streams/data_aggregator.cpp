#include "tovik/data_aggregator.h"

#include <qk/logging/logging.h>

#include <utility>

#include "tovik/channel.h"
#include "tovik/traits.h"

namespace tovik {

void SimpleAggregator::handleBuffer(Buffer* buffer, Multicast* multicast) {
  handler_->onBuffer(channel_, buffer, multicast);
}

BufferedAggregator::BufferedAggregator(Channel* channel, DataHandler* handler, DataPacketizer* packetizer)
    : channel_(channel),
      handler_(handler),
      packetizer_(packetizer),
      maxUnitBytes_(channel != nullptr ? channel->maxUnitBytes() : Traits().max_unit_bytes) {}

void BufferedAggregator::handleBuffer(Buffer* buffer, Multicast* multicast) {
  if (!tail_.empty() && !finishTail(*buffer, multicast)) return;
  while (buffer->remaining() > 0) {
    const UnitEnd end = packetizer_->findEnd(buffer->curr(), buffer->remaining());
    if (!end.found) {
      keepTail(*buffer, end.size);
      return;
    }
    const Buffer unit(buffer->curr(), end.size);
    buffer->consume(end.size);
    if (!handOn(unit, multicast)) return;
  }
}

bool BufferedAggregator::wantsMore() const { return channel_ == nullptr || channel_->delivers(); }

/// Completes the unit that started in earlier bytes. False if it is still incomplete, or the channel is down.
bool BufferedAggregator::finishTail(Buffer& buffer, Multicast* multicast) {
  const unsigned long before = tail_.size();
  tail_.append(buffer.curr(), buffer.remaining());
  const UnitEnd end = packetizer_->findEnd(tail_.data() + searched_, tail_.size() - searched_);
  if (!end.found) {
    searched_ += end.size;
    if (tail_.size() > maxUnitBytes_) refuseLongUnit();
    return false;
  }
  // The handler may destroy the session; the unit must stay valid until it returns.
  std::string unit = std::exchange(tail_, {});
  const unsigned long size = std::exchange(searched_, 0) + end.size;
  buffer.consume(size - before);
  return handOn(Buffer(unit.data(), size), multicast);
}

void BufferedAggregator::keepTail(const Buffer& rest, unsigned long searched) {
  if (rest.remaining() > maxUnitBytes_) return refuseLongUnit();
  tail_.assign(rest.curr(), rest.remaining());
  searched_ = searched;
}

bool BufferedAggregator::handOn(Buffer unit, Multicast* multicast) {
  if (unit.remaining() > maxUnitBytes_) {
    refuseLongUnit();
    return false;
  }
  handler_->onBuffer(channel_, &unit, multicast);
  return wantsMore();
}

void BufferedAggregator::refuseLongUnit() {
  QK_LOG(qk::logging::LogLevel::Warning) << "Tovik: unit longer than " << maxUnitBytes_
                                         << " bytes, channel brought down";
  std::string().swap(tail_);
  if (channel_ != nullptr) channel_->bringDown();
}

}  // namespace tovik
