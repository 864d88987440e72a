#pragma once

#include <memory>

#include "connections/transport_core.h"

namespace tovik {

/// Keeps a consumer alive while it is called outside a connection's events: if it is retired meanwhile, it is destroyed
/// when the hold ends. Converts to false if it was retired before or the transport is closed; then it must not be used.
class ConsumerHold {
 public:
  ConsumerHold(TransportCore& core, Consumer& consumer) : core_(core), record_(core.hold(consumer)) {}
  ConsumerHold(const ConsumerHold&) = delete;
  ConsumerHold& operator=(const ConsumerHold&) = delete;
  ~ConsumerHold() {
    if (record_ != nullptr) core_.release(record_);
  }

  explicit operator bool() const { return record_ != nullptr; }
  const std::shared_ptr<ConsumerRecord>& record() const { return record_; }

 private:
  TransportCore& core_;
  const std::shared_ptr<ConsumerRecord> record_;
};

}  // namespace tovik
