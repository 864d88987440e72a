#pragma once

#include <memory>

#include "connections/transport_core.h"

namespace tovik {

/// Keeps a consumer alive while it is called outside the events of a conduit: given back meanwhile, it goes when the
/// hold ends. False when it has been given back already or the transport is closed: then it must not be touched.
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
