#pragma once

namespace testing_support {

/// Whether every other thread of the process sleeps at this moment: none of them goes on before something wakes it.
bool othersSleep();

}  // namespace testing_support
