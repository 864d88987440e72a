#include <gmock/gmock.h>

#include <iostream>

#include "corpus.h"
#include "play.h"

namespace tovik::ftp {
namespace {

using Kind = Dealing::Kind;
using ::testing::ElementsAreArray;

/// Each scenario of the corpus, its bytes dealt out in every way.
class EveryDealing : public ::testing::TestWithParam<Scenario> {
 protected:
  void SetUp() override {
    const Played whole = stage_.rehearse(GetParam());
    ASSERT_EQ(whole.deviation, "");
    controlBytes_ = whole.controlBytes;
    dataBytes_ = whole.dataBytes;
  }
  void TearDown() override { std::cout << "counted: " << plays_ << '\n'; }

  void play(const Dealing& dealing) {
    ++plays_;
    stage_.play(GetParam(), {dealing}, [&](const Played& played) {
      EXPECT_EQ(played.deviation, "") << describe(dealing);
      EXPECT_THAT(played.lines, ElementsAreArray(played.expected)) << describe(dealing);
      if (!dealing.cuts()) {
        EXPECT_THAT(played.lines, ElementsAreArray(GetParam().outcome())) << describe(dealing);
      }
    });
  }
  void cutEverywhere(bool reset) {
    for (long at = 0; at <= controlBytes_ && !HasFailure(); ++at) play({Kind::cutControl, at, reset});
    if (dataBytes_ == 0) return;
    for (long at = 0; at <= dataBytes_ && !HasFailure(); ++at) play({Kind::cutData, at, reset});
  }

  static std::string describe(const Dealing& dealing) {
    return "kind " + std::to_string(static_cast<int>(dealing.kind)) + " at byte " + std::to_string(dealing.at);
  }

  long controlBytes_ = 0;
  long dataBytes_ = 0;

 private:
  Stage stage_;
  long plays_ = 0;
};

TEST_P(EveryDealing, GivesTheSameTranscriptWholeAndByteByByte) {
  play({});
  play({Kind::bytewise});
}

TEST_P(EveryDealing, GivesTheSameTranscriptWithASplitBeforeAnyByte) {
  for (long at = 1; at < controlBytes_ && !HasFailure(); ++at) play({Kind::splitControl, at});
  for (long at = 1; at < dataBytes_ && !HasFailure(); ++at) play({Kind::splitData, at});
}

TEST_P(EveryDealing, TellsTheEndOfAConnectionThatIsClosedAfterAnyByte) { cutEverywhere(false); }

TEST_P(EveryDealing, TellsTheEndOfAConnectionThatIsResetAfterAnyByte) { cutEverywhere(true); }

INSTANTIATE_TEST_SUITE_P(Of, EveryDealing, ::testing::ValuesIn(corpus()),
                         [](const auto& test) { return test.param.name(); });

}  // namespace
}  // namespace tovik::ftp
