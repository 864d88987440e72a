#include <functional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "callback_case.h"

namespace tovik::ftp {
namespace {

using testing_support::Awaited;

/// Ends the session on the test's thread while its worker is inside a callback.
class EndDuring : public InsideCallback, public ::testing::WithParamInterface<CallbackCase> {
 protected:
  void endsDuring(const std::function<void()>& act) {
    Awaited<bool> entered;
    doInside(GetParam(), [&] { entered.change([](bool& is) { is = true; }); });
    ASSERT_TRUE(entered.waitUntil([](bool is) { return is; })) << server.played();
    act();
    if (hasConnection(GetParam())) server.expectClose();
    EXPECT_TRUE(server.played());
    EXPECT_EQ(client.callsOf("onDisconnected"), 1);
  }
};

TEST_P(EndDuring, StopsOnAnotherThread) {
  endsDuring([&] { EXPECT_TRUE(controller->stop()); });
}

TEST_P(EndDuring, DestroysTheControllerOnAnotherThread) {
  endsDuring([&] { destroyController(); });
}

INSTANTIATE_TEST_SUITE_P(Of, EndDuring, ::testing::ValuesIn(callbackCases()),
                         [](const auto& test) { return test.param.callback; });

/// How far a transfer has come, and what ends the session then.
struct Moment {
  std::string name;
  bool passive;
  std::function<void(ScriptedServer&)> script;
};

void PrintTo(const Moment& moment, std::ostream* out) { *out << moment.name; }

std::vector<Moment> moments() {
  std::vector<Moment> all;
  for (const bool passive : {true, false}) {
    const std::string mode = passive ? "Passive" : "Active";
    const auto begin = [passive](ScriptedServer& server) -> ScriptedServer& {
      return (passive ? server.passive() : server.active()).expect("RETR f");
    };
    all.push_back({mode + "BeforeAnyReply", passive,
                   [passive](auto& server) { passive ? server.expect("PASV") : server.expectPort(); }});
    all.push_back({mode + "BeforeData", passive, [begin](auto& server) { begin(server).reply("150 Here"); }});
    all.push_back(
        {mode + "AmidData", passive, [begin](auto& server) { begin(server).reply("150 Here").data("half"); }});
    all.push_back({mode + "AfterData", passive,
                   [begin](auto& server) { begin(server).reply("150 Here").data("whole").closeData(); }});
    all.push_back(
        {mode + "AfterTheReply", passive, [begin](auto& server) { begin(server).reply("226 Done").data("half"); }});
  }
  return all;
}

class EndDuringTransfer : public Session, public ::testing::WithParamInterface<Moment> {
 protected:
  void endsDuringIt(const std::function<void()>& act) {
    server.login();
    GetParam().script(server);
    onceLoggedIn([this] { EXPECT_TRUE(controller->getFile("f", GetParam().passive)); });
    ASSERT_TRUE(server.played());
    act();
    server.expectClose();
    EXPECT_TRUE(server.played());
    EXPECT_EQ(client.callsOf("onDisconnected"), 1);
    EXPECT_EQ(client.callsOf("onRetrieveFailed"), 0);
  }
};

TEST_P(EndDuringTransfer, StopsOnAnotherThread) {
  endsDuringIt([&] {
    EXPECT_TRUE(controller->stop());
    EXPECT_TRUE(controller->stop());
    EXPECT_FALSE(controller->getPwd());
  });
}

TEST_P(EndDuringTransfer, DestroysTheControllerOnAnotherThread) {
  endsDuringIt([&] { destroyController(); });
}

INSTANTIATE_TEST_SUITE_P(At, EndDuringTransfer, ::testing::ValuesIn(moments()),
                         [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace tovik::ftp
