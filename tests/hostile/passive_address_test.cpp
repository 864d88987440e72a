#include <tovik/text.h>

#include <string>

#include "hostile_session.h"

namespace tovik::ftp {
namespace {

using ::testing::ElementsAre;
using ::testing::StartsWith;

std::string repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

/// The session asks for the directory after each refusal: it must go on.
class AbsurdPassiveAddress : public HostileSession, public ::testing::WithParamInterface<Named> {
 protected:
  AbsurdPassiveAddress() {
    server.login().expect("PASV").reply("227 " + GetParam().bytes).expect("PWD").reply("257 \"/\"");
    client.whenever("onRetrieveFailed", [this] { EXPECT_TRUE(controller->getPwd()); });
  }

  template <class Matcher>
  void isRefused(Matcher why) {
    retrieves(passiveMode);
    ASSERT_TRUE(client.waits("onPwd")) << server.played();
    EXPECT_THAT(client.lines(), ElementsAre("onConnected", why, "onPwd /"));
  }
};

using Undelimited = AbsurdPassiveAddress;

TEST_P(Undelimited, IsRefused) { isRefused("onRetrieveFailed file | address not delimited by ()"); }

INSTANTIATE_TEST_SUITE_P(As, Undelimited,
                         ::testing::Values(Named{"Nothing", ""}, Named{"OnlyOpened", "("}, Named{"OnlyClosed", ")"},
                                           Named{"NeverClosed", "(127,0,0,1,4,1"},
                                           Named{"NeverOpened", "127,0,0,1,4,1)"},
                                           Named{"InsideOut", ")127,0,0,1,4,1("}, Named{"Bare", "127,0,0,1,4,1"},
                                           Named{"InBrackets", "[127,0,0,1,4,1]"},
                                           Named{"OpenedOverAndOver", std::string(100'000, '(')}),
                         nameOf);

using NoAddress = AbsurdPassiveAddress;

TEST_P(NoAddress, IsRefused) {
  std::string text = GetParam().bytes;
  ASSERT_TRUE(findSubstring(text, '(', ')'));
  isRefused("onRetrieveFailed file | couldn't parse " + text);
}

INSTANTIATE_TEST_SUITE_P(
    As, NoAddress,
    ::testing::Values(Named{"Nothing", "()"}, Named{"Commas", "(,,,,,)"}, Named{"OneNumber", "(1)"},
                      Named{"FiveNumbers", "(127,0,0,1,4)"}, Named{"SevenNumbers", "(127,0,0,1,4,1,9)"},
                      Named{"TwoHundredAndFiftySix", "(256,0,0,1,4,1)"},
                      Named{"MoreThanAWord", "(127,0,0,99999999999999999999,4,1)"}, Named{"Minus", "(-127,0,0,1,4,1)"},
                      Named{"Plus", "(+127,0,0,1,4,1)"}, Named{"Hexadecimal", "(0x7f,0,0,1,4,1)"},
                      Named{"Octal", "(0127,0,0,1,4,1)"}, Named{"Dots", "(127.0.0.1,4,1)"},
                      Named{"DotsInANumber", "(127.0,0,1,0,4,1)"}, Named{"Blank", "( 127,0,0,1,4,1)"},
                      Named{"Colons", "(::1,0,0,1,4,1)"}, Named{"Extended", "(|||6446|)"},
                      Named{"OpenedThrice", "(((127,0,0,1,4,1)))"}, Named{"WideDigits", "(\xef\xbc\x91,0,0,1,4,1)"},
                      Named{"Nul", std::string("(127,0,0,1\0,4,1)", 17)},
                      Named{"HundredThousandCommas", "(" + std::string(100'000, ',') + ")"},
                      Named{"HundredThousandNumbers", "(" + repeated("1,", 100'000) + ")"},
                      Named{"HundredThousandDigits", "(127,0,0," + std::string(100'000, '1') + ",4,1)"}),
    nameOf);

/// Numbers that a port is made of all the same, one at which nobody listens.
using NobodysPort = AbsurdPassiveAddress;

TEST_P(NobodysPort, IsTriedAndRefused) { isRefused(StartsWith("onRetrieveFailed file | connect")); }

INSTANTIATE_TEST_SUITE_P(
    As, NobodysPort,
    ::testing::Values(Named{"Nought", "(127,0,0,1,0,0)"}, Named{"Letters", "(127,0,0,1,x,y)"},
                      Named{"One", "(127,0,0,1,0,1)"}, Named{"TwoHundredAndFiftySix", "(127,0,0,1,256,1)"},
                      Named{"SixtyFiveThousand", "(127,0,0,1,65536,1)"},
                      Named{"LowPartTooLarge", "(127,0,0,1,0,65537)"}, Named{"Minus", "(127,0,0,1,-256,1)"},
                      Named{"Exponent", "(127,0,0,1,0,1e9)"}, Named{"Blanks", "(127,0,0,1, 0, 1)"},
                      Named{"HostNought", "(0,0,0,0,0,1)"},
                      Named{"MoreThanAWord", "(127,0,0,1,18446744073709551616,258)"},
                      Named{"HundredThousandDigits", "(127,0,0,1," + std::string(100'000, '9') + ",258)"}),
    nameOf);

using TwoPassiveAddresses = HostileSession;

TEST_F(TwoPassiveAddresses, AreOneAndAReplyThatNobodyAskedFor) {
  server.login().passive().reply("227 (127,0,0,1,0,1)").expect("RETR file").data("whole").closeData();
  server.reply("226 Done");
  retrieves(passiveMode);
  ASSERT_TRUE(client.waits("onRetrieve")) << server.played();
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onRetrieve file | Done | whole"));
  EXPECT_EQ(log.texts(30).size(), 1U);
}

}  // namespace
}  // namespace tovik::ftp
