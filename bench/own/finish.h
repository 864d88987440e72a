#pragma once

#include <atomic>
#include <future>
#include <stdexcept>
#include <string>

namespace bench::own {

/// Where a run's end is told and waited for. Only the first end counts.
///
/// Threads: wait by the main thread, the rest by any.
class Finish {
 public:
  void succeed() {
    if (!told_.test_and_set()) end_.set_value();
  }
  void fail(const std::string& text) {
    if (!told_.test_and_set()) end_.set_exception(std::make_exception_ptr(std::runtime_error(text)));
  }
  /// Throws what went wrong.
  void wait() { end_.get_future().get(); }

 private:
  std::atomic_flag told_;
  std::promise<void> end_;
};

}  // namespace bench::own
