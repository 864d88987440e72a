#pragma once

#include "support/loopback_socket.h"

namespace testing_support {

/// A loopback address where nobody answers who connects: the queue of its listener is full.
class UnansweredAddress {
 public:
  tovik::Address address() const { return listener_.address(); }

 private:
  const LoopbackSocket listener_ = LoopbackSocket::listening(loopback(), 0);
  const LoopbackSocket filling_ = LoopbackSocket::connected(listener_.address());
};

}  // namespace testing_support
