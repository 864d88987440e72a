#pragma once

#include "support/waiting.h"

namespace testing_support {

/// Opens once; until then `waits` blocks.
class Latch {
 public:
  void open() {
    opened_.change([](bool& opened) { opened = true; });
  }
  /// Returns false if the deadline passes first.
  [[nodiscard]] bool waits() const {
    return opened_.waitUntil([](bool opened) { return opened; });
  }
  bool isOpen() const { return opened_.get(); }

 private:
  Awaited<bool> opened_;
};

}  // namespace testing_support
