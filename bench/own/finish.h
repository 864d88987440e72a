#pragma once

#include <atomic>
#include <future>
#include <stdexcept>
#include <string>

namespace bench::own {

/// Signals the end of a run to the main thread. Only the first call of succeed or fail counts.
///
/// Threads: wait by the main thread, the rest by any thread.
class Finish {
 public:
  void succeed() {
    if (!ended_.test_and_set()) end_.set_value();
  }
  void fail(const std::string& text) {
    if (!ended_.test_and_set()) end_.set_exception(std::make_exception_ptr(std::runtime_error(text)));
  }
  /// Returns after succeed, throws after fail.
  void wait() { end_.get_future().get(); }

 private:
  std::atomic_flag ended_;
  std::promise<void> end_;
};

}  // namespace bench::own
