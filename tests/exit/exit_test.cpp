#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "support/program.h"

// A host may end its process at any moment, by any thread, with sessions alive: it ends, with the code that it gave.

namespace {

using testing_support::Program;

/// ThreadSanitizer waits for a second at the end of each process unless told otherwise.
std::string withoutDelay() {
  const char* const options = std::getenv("TSAN_OPTIONS");
  return "TSAN_OPTIONS=" + std::string(options == nullptr ? "" : options) + " atexit_sleep_ms=0";
}

class Exit : public ::testing::TestWithParam<std::string> {};

// Workers were joined and destroyed while sessions used them: the process crashed, or never ended.
TEST_P(Exit, EndsTheProcess) {
  for (int i = 0; i < 8; ++i) {
    Program program({EXITS, GetParam()}, {withoutDelay()});
    ASSERT_EQ(program.wait(), 7) << program.errors();
  }
}

INSTANTIATE_TEST_SUITE_P(OfAHost, Exit,
                         ::testing::Values("WithASessionThatIsOlderThanTheStore",
                                           "WithASessionThatIsYoungerThanTheStore",
                                           "WhileACallbackStopsAnotherWorkersSession", "InsideACallback",
                                           "InsideACallbackThatAnotherWorkerWaitsFor",
                                           "InsideACallbackThatAHostThreadWaitsFor", "WhileACallbackDoesNotReturn",
                                           "DuringTransfersOfSessionsThatAreDestroyed",
                                           "DuringTransfersOfSessionsThatAreNot"),
                         [](const auto& test) { return test.param; });

}  // namespace
