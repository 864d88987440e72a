#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "session.h"

namespace tovik::ftp {
namespace {

/// How a callback is brought about: the client's command, and the server's part.
struct Occasion {
  std::string callback;
  std::function<void(Controller&)> command;
  std::function<void(ScriptedServer&)> answer;
};

/// Something that a client may do inside a callback, the server's part, and the callback that ends it, if one does.
struct Act {
  std::string name;
  std::function<Result(Controller&)> command;
  std::function<void(ScriptedServer&)> answer;
  std::string outcome;
};

void PrintTo(const Occasion& occasion, std::ostream* out) { *out << occasion.callback; }
void PrintTo(const Act& act, std::ostream* out) { *out << act.name; }

/// Quiet replies of a server that is asked for nothing.
void silence(ScriptedServer& /*server*/) {}

std::vector<Occasion> occasions() {
  const auto none = [](Controller&) {};
  const auto pwd = [](Controller& controller) { EXPECT_TRUE(controller.getPwd()); };
  const auto cwd = [](Controller& controller) { EXPECT_TRUE(controller.changeCwd("a")); };
  const auto cdup = [](Controller& controller) { EXPECT_TRUE(controller.cdUp()); };
  const auto nlst = [](Controller& controller) { EXPECT_TRUE(controller.getNlst(passiveMode)); };
  const auto retr = [](Controller& controller) { EXPECT_TRUE(controller.getFile("a", activeMode)); };
  const auto refusesRetr = [](ScriptedServer& server) {
    server.active().expect("RETR a").reply("550 No").data("half").closeData();
  };
  return {
      {"onConnected", none, silence},
      {"onDisconnected", none, [](auto& server) { server.close(); }},
      {"onPwd", pwd, [](auto& server) { server.expect("PWD").reply("257 \"/\""); }},
      {"onPwdFailed", pwd, [](auto& server) { server.expect("PWD").reply("550 No"); }},
      {"onCwd", cwd, [](auto& server) { server.expect("CWD a").reply("250 Done"); }},
      {"onCwdFailed", cwd, [](auto& server) { server.expect("CWD a").reply("550 No"); }},
      {"onCdup", cdup, [](auto& server) { server.expect("CDUP").reply("200 Done"); }},
      {"onCdupFailed", cdup, [](auto& server) { server.expect("CDUP").reply("550 No"); }},
      {"onNlst", nlst, [](auto& server) { server.passive().expect("NLST").reply("226 Done").data("a").closeData(); }},
      {"onNlstFailed", nlst, [](auto& server) { server.passive().expect("NLST").reply("450 No").closeData(); }},
      {"onRetrieve", retr,
       [](auto& server) { server.active().expect("RETR a").reply("226 Done").data("x").closeData(); }},
      {"onRetrieveFailed", retr, refusesRetr},
  };
}

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

/// Brings a callback about and does something inside it, the first time.
class Inside : public Session {
 protected:
  void doInside(const Occasion& occasion, const std::function<void()>& act) {
    client.onConnectedDo([this, occasion] { occasion.command(*controller); });
    client.whenever(occasion.callback, [this, occasion, act] {
      if (std::exchange(done_, true)) return;
      act();
    });
    server.login();
    occasion.answer(server);
    start();
  }

  static bool hasConnection(const Occasion& occasion) { return occasion.callback != "onDisconnected"; }

 private:
  bool done_ = false;
};

class CommandInside : public Inside, public ::testing::WithParamInterface<std::tuple<Occasion, Act>> {};

TEST_P(CommandInside, StartsNormally) {
  const auto& [occasion, act] = GetParam();
  doInside(occasion, [&, command = act.command] {
    EXPECT_TRUE(command(*controller));
    const Result second = controller->getPwd();
    EXPECT_FALSE(second);
    EXPECT_TRUE(second.message.ends_with(" still active")) << second.message;
  });
  if (hasConnection(occasion)) act.answer(server);
  ASSERT_TRUE(client.waits(occasion.callback)) << server.played();
  if (!hasConnection(occasion)) return;
  ASSERT_TRUE(client.waits(act.outcome, act.outcome == occasion.callback ? 2 : 1)) << server.played();
}

class EndInside : public Inside, public ::testing::WithParamInterface<Occasion> {
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

TEST_P(EndInside, StopsOnce) {
  endsInside([&] { EXPECT_TRUE(controller->stop()); });
}

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

TEST_P(EndInside, StopsAndDestroysTheController) {
  endsInside([&] {
    freeWhatAFailedTransferLeft();
    EXPECT_TRUE(controller->stop());
    controller.reset();
  });
}

std::string nameOf(const Occasion& occasion) { return occasion.callback; }

INSTANTIATE_TEST_SUITE_P(Of, CommandInside,
                         ::testing::Combine(::testing::ValuesIn(occasions()), ::testing::ValuesIn(commandActs())),
                         [](const auto& test) {
                           return nameOf(std::get<0>(test.param)) + std::get<1>(test.param).name;
                         });

INSTANTIATE_TEST_SUITE_P(Of, EndInside, ::testing::ValuesIn(occasions()),
                         [](const auto& test) { return nameOf(test.param); });

}  // namespace
}  // namespace tovik::ftp
