#include <gmock/gmock.h>

#include <iostream>

#include "corpus.h"
#include "scenario_runner.h"

namespace tovik::ftp {
namespace {

using Kind = Delivery::Kind;
using ::testing::ElementsAreArray;

/// Each scenario of the corpus, its bytes delivered in every way.
class EveryDelivery : public ::testing::TestWithParam<Scenario> {
 protected:
  void SetUp() override {
    const RunResult whole = runner_.warmUp(GetParam());
    ASSERT_EQ(whole.mismatch, "");
    controlBytes_ = whole.controlBytes;
    dataBytes_ = whole.dataBytes;
  }
  void TearDown() override { std::cout << "counted: " << plays_ << '\n'; }

  void play(const Delivery& delivery) {
    ++plays_;
    runner_.play(GetParam(), {delivery}, [&](const RunResult& result) {
      EXPECT_EQ(result.mismatch, "") << describe(delivery);
      EXPECT_THAT(result.lines, ElementsAreArray(result.expected)) << describe(delivery);
      if (!delivery.cuts()) {
        EXPECT_THAT(result.lines, ElementsAreArray(GetParam().outcome())) << describe(delivery);
      }
    });
  }
  void cutEverywhere(bool reset) {
    for (long at = 0; at <= controlBytes_ && !HasFailure(); ++at) play({Kind::cutControl, at, reset});
    if (dataBytes_ == 0) return;
    for (long at = 0; at <= dataBytes_ && !HasFailure(); ++at) play({Kind::cutData, at, reset});
  }

  static std::string describe(const Delivery& delivery) {
    return "kind " + std::to_string(static_cast<int>(delivery.kind)) + " at byte " + std::to_string(delivery.at);
  }

  long controlBytes_ = 0;
  long dataBytes_ = 0;

 private:
  ScenarioRunner runner_;
  long plays_ = 0;
};

TEST_P(EveryDelivery, GivesTheSameTranscriptWholeAndByteByByte) {
  play({});
  play({Kind::bytewise});
}

TEST_P(EveryDelivery, GivesTheSameTranscriptWithASplitBeforeAnyByte) {
  for (long at = 1; at < controlBytes_ && !HasFailure(); ++at) play({Kind::splitControl, at});
  for (long at = 1; at < dataBytes_ && !HasFailure(); ++at) play({Kind::splitData, at});
}

TEST_P(EveryDelivery, ReportsTheEndOfAConnectionThatIsClosedAfterAnyByte) { cutEverywhere(false); }

TEST_P(EveryDelivery, ReportsTheEndOfAConnectionThatIsResetAfterAnyByte) { cutEverywhere(true); }

INSTANTIATE_TEST_SUITE_P(Of, EveryDelivery, ::testing::ValuesIn(corpus()),
                         [](const auto& test) { return test.param.name(); });

}  // namespace
}  // namespace tovik::ftp
