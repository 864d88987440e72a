// This header alone: a host that includes nothing else catches what the constructor throws.
#include <tovik/ftp_bridge/ftp_bridge.h>

namespace {
[[maybe_unused]] const std::exception& asHostsCatchIt(const tovik::Exception& thrown) { return thrown; }
}  // namespace

#include <new>
#include <string>

#include "controller_fixture.h"
#include "support/descriptor_limit.h"

namespace tovik::ftp {
namespace {

using testing_support::NoMoreDescriptors;

/// The callback that comes from inside an operation: there is no descriptor for the listener of the active mode.
class FailureCallback : public ControllerFixture {
 protected:
  void SetUp() override {
    if (!testing_support::descriptorsMayRunOut()) GTEST_SKIP() << "the sanitizer needs descriptors";
  }

  Result listWithoutDescriptors() {
    const NoMoreDescriptors none;
    return controller->getNlst(false);
  }
};

TEST_F(FailureCallback, HasReturnedWhenTheOperationReturns) {
  EXPECT_TRUE(listWithoutDescriptors());
  EXPECT_EQ(client.lines(), std::vector<std::string>{"onNlstFailed socket: Too many open files"});
}

// It was taken for the session's own: the operation said "out of memory", and the new command was forgotten.
TEST_F(FailureCallback, ThatThrowsBadAllocLeavesTheCommandThatItStartedInProgress) {
  client.whenever("onNlstFailed", [this] {
    EXPECT_TRUE(controller->getPwd());
    throw std::bad_alloc();
  });
  EXPECT_THROW(static_cast<void>(listWithoutDescriptors()), std::bad_alloc);
  EXPECT_EQ(controller->cdUp().message, "pwd still active");
}

TEST_F(FailureCallback, ThatThrowsLeavesTheControllerIdle) {
  client.whenever("onNlstFailed", [] { throw 7; });
  EXPECT_THROW(static_cast<void>(listWithoutDescriptors()), int);
  EXPECT_TRUE(controller->getPwd());
}

// Each try was inside the callback of the one before, until the stack was used up.
TEST_F(FailureCallback, ThatAlwaysTriesAgainIsFinallyRefused) {
  Result last = Success;
  client.whenever("onNlstFailed", [&] {
    const Result again = controller->getNlst(false);
    if (!again) last = again;
  });
  EXPECT_TRUE(listWithoutDescriptors());
  EXPECT_EQ(last.message, "too many failures, each reported inside the one before");
  EXPECT_EQ(client.callsOf("onNlstFailed"), 32);
  EXPECT_TRUE(controller->getPwd());
}

}  // namespace
}  // namespace tovik::ftp
