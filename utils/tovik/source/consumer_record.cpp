#include "consumer_record.h"

#include "transport_core.h"

namespace tovik {

bool ConsumerRecord::hold() {
  unsigned state = state_.load(std::memory_order_acquire);
  while ((state & retired) == 0)
    if (state_.compare_exchange_weak(state, state + holder, std::memory_order_acq_rel)) return true;
  return false;
}

bool ConsumerRecord::letGo() { return state_.fetch_sub(holder, std::memory_order_acq_rel) == (holder | retired); }

bool ConsumerRecord::retire() { return state_.fetch_or(retired, std::memory_order_acq_rel) == 0; }

void ConsumerRecord::onReady(unsigned /*events*/) {
  if (const auto core = core_.lock()) core->endConduitsOf(*this);
}

}  // namespace tovik
