#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "controller_fixture.h"

namespace tovik::ftp {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing_support::FakeChannel;

using Operation = std::function<Result(Controller&)>;

const std::vector<std::pair<std::string, Operation>> operations{
    {"getPwd", [](Controller& controller) { return controller.getPwd(); }},
    {"changeCwd", [](Controller& controller) { return controller.changeCwd("dir"); }},
    {"cdUp", [](Controller& controller) { return controller.cdUp(); }},
    {"getNlst passive", [](Controller& controller) { return controller.getNlst(true); }},
    {"getNlst active", [](Controller& controller) { return controller.getNlst(false); }},
    {"getFile passive", [](Controller& controller) { return controller.getFile("other", true); }},
    {"getFile active", [](Controller& controller) { return controller.getFile("other", false); }},
    {"sendLogout", [](Controller& controller) { return controller.sendLogout(); }},
};

class CommandRule : public ControllerFixture {
 protected:
  CommandRule() {
    loggedIn();
    forget();
  }

  /// Each operation is refused with this, and leaves everything as it was.
  void refusesEverything(const std::string& message) {
    controller->replyText = "text";
    controller->fileName = "file";
    controller->replyReceived = true;
    const auto command = controller->command;
    const auto pending = interpreter().pending;
    const auto* connector = controller->dataConnector;
    forget();
    for (const auto& [name, operation] : operations) {
      const Result refused = operation(*controller);
      EXPECT_FALSE(refused) << name;
      EXPECT_EQ(refused.message, message) << name;
      EXPECT_EQ(controller->command, command) << name;
      EXPECT_EQ(interpreter().pending, pending) << name;
      EXPECT_EQ(controller->dataConnector, connector) << name;
      EXPECT_EQ(controller->replyText + controller->fileName, "textfile") << name;
      EXPECT_TRUE(controller->replyReceived) << name;
    }
    EXPECT_THAT(logged(), IsEmpty());
    EXPECT_THAT(channel.sent(), IsEmpty());
    EXPECT_THAT(client.lines(), IsEmpty());
  }
};

TEST(Commands, HaveTheirNumbers) {
  int number = 0;
  for (const cmd_e command : {cmd_e::none, cmd_e::pwd, cmd_e::cwd, cmd_e::cdup, cmd_e::nlst, cmd_e::retr, cmd_e::quit})
    EXPECT_EQ(static_cast<int>(command), number++);
}

TEST_F(CommandRule, LetsACommandThroughWhenIdle) {
  EXPECT_TRUE(controller->getPwd());
  EXPECT_EQ(controller->command, cmd_e::pwd);
  EXPECT_THAT(logged(), ElementsAre("Tovik: controller getting current directory", "Tovik: [FTP] PWD"));
}

TEST_F(CommandRule, RefusesEveryCommandDuringPwd) {
  EXPECT_TRUE(controller->getPwd());
  refusesEverything("pwd still active");
}

TEST_F(CommandRule, RefusesEveryCommandDuringCwd) {
  EXPECT_TRUE(controller->changeCwd("dir"));
  refusesEverything("cwd still active");
}

TEST_F(CommandRule, RefusesEveryCommandDuringCdup) {
  EXPECT_TRUE(controller->cdUp());
  refusesEverything("cdup still active");
}

TEST_F(CommandRule, RefusesEveryCommandDuringAListing) {
  EXPECT_TRUE(controller->getNlst(true));
  refusesEverything("nlst still active");
}

TEST_F(CommandRule, RefusesEveryCommandDuringARetrieval) {
  EXPECT_TRUE(controller->getFile("file", false));
  refusesEverything("retr still active");
}

TEST_F(CommandRule, RefusesEveryCommandAfterLogout) {
  EXPECT_TRUE(controller->sendLogout());
  refusesEverything("quit still active");
}

TEST_F(CommandRule, CallsACommandThatDoesNotExistUnknown) {
  for (const int number : {-1, 7, 100}) {
    controller->command = static_cast<cmd_e>(number);
    refusesEverything("unknown still active");
  }
}

/// A channel whose server answers at once: notes what the interpreter awaits when a command goes out.
class PromptChannel : public FakeChannel {
 public:
  explicit PromptChannel(const ProtocolInterpreter& watched) : watched_(watched) {}
  void send(const char* data, unsigned long size) override {
    FakeChannel::send(data, size);
    awaited.push_back(watched_.pending);
  }

  std::vector<pending_e> awaited;

 private:
  const ProtocolInterpreter& watched_;
};

TEST_F(CommandRule, SetsTheReplyToAwaitBeforeTheCommandGoesOut) {
  using enum pending_e;
  PromptChannel prompt(interpreter());
  interpreter().onChannelUp(&prompt);
  for (const auto& [name, operation] : operations) {
    controller->command = cmd_e::none;
    EXPECT_TRUE(operation(*controller)) << name;
  }
  EXPECT_THAT(prompt.awaited, ElementsAre(pwd, cwd, cdup, passive, port, passive, port, quit));
  prompt.awaited.clear();
  for (const cmd_e command : {cmd_e::nlst, cmd_e::retr}) {
    controller->command = command;
    controller->processDataConnection();
  }
  EXPECT_THAT(prompt.awaited, ElementsAre(nlst, retr));
  interpreter().sessionState = 0;
  interpreter().pending = none;
  prompt.awaited.clear();
  for (const char* reply : {"220 Ready", "331 Password?", "332 Account?"}) serverSends(reply);
  EXPECT_THAT(prompt.awaited, ElementsAre(user, password, account));
}

TEST_F(CommandRule, KeepsTheDataOfARunningTransferFromARefusedCommand) {
  EXPECT_TRUE(controller->getNlst(true));
  dataArrives("a");
  refusesEverything("nlst still active");
  ASSERT_NE(controller->received, nullptr);
  EXPECT_EQ(*controller->received, "a");
}

TEST_F(CommandRule, ClearsWhatAnEarlierCommandLeft) {
  controller->received = new std::string("x");
  controller->replyText = "text";
  controller->fileName = "file";
  controller->replyReceived = true;
  controller->replyOk = true;
  controller->passive = true;
  controller->prepareCommand(cmd_e::cwd);
  EXPECT_EQ(controller->command, cmd_e::cwd);
  EXPECT_EQ(controller->received, nullptr);
  EXPECT_EQ(controller->replyText, "");
  EXPECT_EQ(controller->fileName, "");
  EXPECT_FALSE(controller->replyReceived);
  EXPECT_TRUE(controller->replyOk && controller->passive) << "not touched";
}

TEST_F(CommandRule, IsIdleInsideEachCallbackThatEndsACommand) {
  const auto idle = [&] { EXPECT_EQ(controller->command, cmd_e::none); };
  for (const char* callback : {"onPwd", "onPwdFailed", "onCwd", "onCwdFailed", "onCdup", "onCdupFailed", "onNlst",
                               "onNlstFailed", "onRetrieve", "onRetrieveFailed"})
    client.whenever(callback, idle);
  for (const bool ok : {true, false}) {
    controller->command = cmd_e::pwd;
    controller->onPwd(ok, "\"/\"");
    controller->command = cmd_e::cwd;
    controller->onCwd(ok, "text");
    controller->command = cmd_e::cdup;
    controller->onCdup(ok, "text");
    controller->prepareCommand(cmd_e::nlst);
    dataArrives("a");
    controller->onNlst(ok, "text");
    controller->prepareCommand(cmd_e::retr);
    dataArrives("a");
    controller->onRetrieve(ok, "text");
  }
  controller->prepareCommand(cmd_e::none);
  EXPECT_EQ(client.lines().size(), 10U);
}

TEST_F(CommandRule, StaysBusyThroughStopDisconnectionAndTheReplyToQuit) {
  EXPECT_TRUE(controller->sendLogout());
  serverSends("221 Bye");
  interpreter().onChannelDown(&channel, 0);
  interpreter().onConduitInactive(nullptr);
  EXPECT_TRUE(controller->stop());
  EXPECT_EQ(controller->command, cmd_e::quit);
}

}  // namespace
}  // namespace tovik::ftp
