#pragma once

#include <tovik/transport.h>

#include <functional>
#include <stdexcept>
#include <thread>

#include "support/latch.h"

namespace testing_support {

/// Keeps the worker of a transport busy while it lives: nothing else runs there meanwhile.
///
/// Errors: std::runtime_error when the worker isn't free before the deadline.
class HeldWorker {
 public:
  explicit HeldWorker(tovik::Transport& transport)
      : holder_([this, &transport] {
          transport.call([this] {
            held_.open();
            static_cast<void>(released_.waits());
          });
        }) {
    if (!held_.waits()) throw std::runtime_error("the worker is not free");
  }
  HeldWorker(const HeldWorker&) = delete;
  HeldWorker& operator=(const HeldWorker&) = delete;
  ~HeldWorker() {
    released_.open();
    holder_.join();
  }

 private:
  Latch held_;
  Latch released_;
  std::thread holder_;
};

}  // namespace testing_support
