#include "connections/consumer_record.h"

#include <algorithm>

#include "tovik/channel.h"

namespace tovik {

bool ConsumerRecord::hold() {
  unsigned state = state_.load(std::memory_order_acquire);
  while ((state & retired) == 0)
    if (state_.compare_exchange_weak(state, state + holder, std::memory_order_acq_rel)) return true;
  return false;
}

ConsumerRecord::Remaining ConsumerRecord::release() {
  switch (state_.fetch_sub(holder, std::memory_order_acq_rel)) {
    case holder:
      return Remaining::none;
    case holder | retired:
      return Remaining::noneAndRetired;
    default:
      return Remaining::others;
  }
}

bool ConsumerRecord::retire() { return state_.fetch_or(retired, std::memory_order_acq_rel) == 0; }

/// If the connection has not ended, it keeps the channel until it does.
void ConsumerRecord::dropChannel(const Channel& channel) {
  const auto found =
      std::find_if(channels_.begin(), channels_.end(), [&](const auto& each) { return each.get() == &channel; });
  if (found == channels_.end()) return;
  const std::shared_ptr<Channel> dropped = std::exchange(*found, std::move(channels_.back()));
  channels_.pop_back();
}

}  // namespace tovik
