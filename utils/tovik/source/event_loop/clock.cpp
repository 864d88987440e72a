#include "tovik/clock.h"

#include <algorithm>
#include <climits>
#include <type_traits>

namespace tovik {

namespace {

class SteadyClock final : public Clock {
 public:
  Time now() override { return std::chrono::steady_clock::now(); }
  /// Rounded up, so that a thread neither wakes before the deadline nor spins during the last millisecond.
  int millisecondsUntil(Time deadline) override {
    const auto rest = std::chrono::ceil<std::chrono::milliseconds>(deadline - now()).count();
    return static_cast<int>(std::clamp<long>(rest, 0, INT_MAX));
  }
};

static_assert(std::is_trivially_destructible_v<SteadyClock>);
constinit SteadyClock steadyClock;

}  // namespace

Clock& Clock::steady() { return steadyClock; }

}  // namespace tovik
