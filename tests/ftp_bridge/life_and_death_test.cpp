#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "callback_case.h"

namespace tovik::ftp {
namespace {

/// Something that a client may do inside a callback, the server's part, and the callback that ends it, if one does.
struct Act {
  std::string name;
  std::function<Result(Controller&)> command;
  std::function<void(ScriptedServer&)> answer;
  std::string outcome;
};

void PrintTo(const Act& act, std::ostream* out) { *out << act.name; }

std::vector<Act> commandActs() {
  const auto lists = [](auto& server) { server.expect("NLST").data("b").closeData().reply("226 Done"); };
  const auto gives = [](auto& server) { server.expect("RETR b").data("y").closeData().reply("226 Done"); };
  return {
      {"Pwd", [](auto& c) { return c.getPwd(); }, [](auto& s) { s.expect("PWD").reply("257 \"/\""); }, "onPwd"},
      {"Cwd", [](auto& c) { return c.changeCwd("b"); }, [](auto& s) { s.expect("CWD b").reply("250 Done"); }, "onCwd"},
      {"Cdup", [](auto& c) { return c.cdUp(); }, [](auto& s) { s.expect("CDUP").reply("200 Done"); }, "onCdup"},
      {"PassiveNlst", [](auto& c) { return c.getNlst(passiveMode); }, [=](auto& s) { lists(s.passive()); }, "onNlst"},
      {"ActiveNlst", [](auto& c) { return c.getNlst(activeMode); }, [=](auto& s) { lists(s.active()); }, "onNlst"},
      {"PassiveRetr", [](auto& c) { return c.getFile("b", passiveMode); }, [=](auto& s) { gives(s.passive()); },
       "onRetrieve"},
      {"ActiveRetr", [](auto& c) { return c.getFile("b", activeMode); }, [=](auto& s) { gives(s.active()); },
       "onRetrieve"},
      {"Quit", [](auto& c) { return c.sendLogout(); }, [](auto& s) { s.expect("QUIT").reply("221 Bye").expectClose(); },
       "onDisconnected"},
  };
}

class CommandInside : public InsideCallback, public ::testing::WithParamInterface<std::tuple<CallbackCase, Act>> {};

TEST_P(CommandInside, StartsNormally) {
  const auto& [callbackCase, act] = GetParam();
  doInside(callbackCase, [&, command = act.command] {
    EXPECT_TRUE(command(*controller));
    const Result second = controller->getPwd();
    EXPECT_FALSE(second);
    EXPECT_TRUE(second.message.ends_with(" still active")) << second.message;
  });
  if (hasConnection(callbackCase)) act.answer(server);
  ASSERT_TRUE(client.waits(callbackCase.callback)) << server.played();
  if (!hasConnection(callbackCase)) return;
  ASSERT_TRUE(client.waits(act.outcome, act.outcome == callbackCase.callback ? 2 : 1)) << server.played();
}

class EndInside : public InsideCallback, public ::testing::WithParamInterface<CallbackCase> {
 protected:
  void endsInside(const std::function<void()>& act, const std::function<void(ScriptedServer&)>& answer = silence) {
    doInside(GetParam(), act);
    ASSERT_TRUE(client.waits(GetParam().callback)) << server.played();
    if (hasConnection(GetParam())) {
      answer(server);
      server.expectClose();
    }
    EXPECT_TRUE(server.played());
    EXPECT_EQ(client.lines().back(), "onDisconnected");
    EXPECT_EQ(client.callsOf("onDisconnected"), 1);
  }
};

TEST_P(EndInside, StopsTwice) {
  endsInside([&] {
    EXPECT_TRUE(controller->stop());
    EXPECT_TRUE(controller->stop());
  });
}

TEST_P(EndInside, DestroysTheController) {
  endsInside([&] {
    freeWhatAFailedTransferLeft();
    controller.reset();
  });
  EXPECT_EQ(controller, nullptr);
}

TEST_P(EndInside, StartsACommandAndDestroysTheController) {
  const auto startAndDestroy = [&] {
    EXPECT_TRUE(controller->getNlst(activeMode));
    controller.reset();
  };
  endsInside(startAndDestroy, [](auto& peer) { peer.expectPort(); });
}

// A client that throws gets no more callbacks of that connection, and every connection of the session ends.
TEST_P(EndInside, ThrowsAnException) {
  doInside(GetParam(), [] { throw std::runtime_error("the host's own"); });
  ASSERT_TRUE(client.waits(GetParam().callback)) << server.played();
  if (hasConnection(GetParam())) server.expectClose();
  EXPECT_TRUE(server.played());
  // Once the worker has returned from the callback, and has reported the end of the other connections.
  EXPECT_TRUE(controller->stop());
  EXPECT_GE(log.countContaining("exception in a handler: the host's own"), 1);
  disconnections = client.callsOf("onDisconnected");
  EXPECT_LE(disconnections, 1);
}

TEST_P(EndInside, StopsAndDestroysTheController) {
  endsInside([&] {
    freeWhatAFailedTransferLeft();
    EXPECT_TRUE(controller->stop());
    controller.reset();
  });
}

INSTANTIATE_TEST_SUITE_P(Of, CommandInside,
                         ::testing::Combine(::testing::ValuesIn(callbackCases()), ::testing::ValuesIn(commandActs())),
                         [](const auto& test) {
                           return std::get<0>(test.param).callback + std::get<1>(test.param).name;
                         });

INSTANTIATE_TEST_SUITE_P(Of, EndInside, ::testing::ValuesIn(callbackCases()),
                         [](const auto& test) { return test.param.callback; });

}  // namespace
}  // namespace tovik::ftp
