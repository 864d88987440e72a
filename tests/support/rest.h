#pragma once

#include <functional>

namespace testing_support {

/// Whether every other thread of the process sleeps at this moment: none of them goes on before something wakes it.
bool othersSleep();

/// Waits until the condition holds and every other thread sleeps after that; false at the deadline. What another thread
/// was about to do when it made the condition hold is then done, or waits for something.
[[nodiscard]] bool othersComeToRest(const std::function<bool()>& condition);

}  // namespace testing_support
