#include <string>
#include <vector>

#include "controller_fixture.h"

namespace tovik::ftp {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string interpreterSays = "Tovik: protocol interpreter: ";

class Login : public ControllerFixture {
 protected:
  Login() { forget(); }

  void serverSendsAll(const std::vector<std::string>& lines) {
    for (const auto& line : lines) serverSends(line);
  }
};

TEST_F(Login, SendsUserOnTheGreetingOnlyAndNotOnItsDelay) {
  serverSends("120 Ready in a minute");
  EXPECT_THAT(channel.sent(), IsEmpty());
  EXPECT_EQ(interpreter().pending, pending_e::none);
  serverSends("220 Ready");
  EXPECT_THAT(channel.sent(), ElementsAre("USER me\r\n"));
  EXPECT_EQ(interpreter().pending, pending_e::user);
}

TEST_F(Login, SendsThePasswordAndReportsSuccessOnceAfterTheStateHasChanged) {
  client.onConnectedDo([&] {
    EXPECT_EQ(interpreter().sessionState, 1);
    EXPECT_EQ(interpreter().pending, pending_e::none);
  });
  serverSendsAll({"220 Ready", "331 Password?", "230 Welcome"});
  EXPECT_THAT(channel.sent(), ElementsAre("USER me\r\n", "PASS secret\r\n"));
  EXPECT_THAT(client.lines(), ElementsAre("onConnected"));
}

TEST_F(Login, SendsTheAccountAfterThePassword) {
  serverSendsAll({"220 Ready", "331 Password?", "332 Account?"});
  EXPECT_THAT(channel.sent(), ElementsAre("USER me\r\n", "PASS secret\r\n", "ACCT books\r\n"));
  EXPECT_THAT(client.lines(), IsEmpty());
  serverSends("230 Welcome");
  EXPECT_THAT(client.lines(), ElementsAre("onConnected"));
}

TEST_F(Login, ReportsNothingWhenRefusedAndStartsAgainOnAGreeting) {
  serverSendsAll({"220 Ready", "331 Password?", "530 No"});
  EXPECT_EQ(interpreter().pending, pending_e::none);
  serverSends("230 Welcome");
  EXPECT_THAT(logged(30), ElementsAre(interpreterSays + "none: unknown reply 230"));
  serverSends("220 Ready");
  EXPECT_THAT(channel.sent(), ElementsAre("USER me\r\n", "PASS secret\r\n", "USER me\r\n"));
  EXPECT_THAT(client.lines(), IsEmpty());
}

TEST_F(Login, KeepsWaitingAfterA202ToPasswordAndAccount) {
  for (const pending_e pending : {pending_e::password, pending_e::account}) {
    interpreter().pending = pending;
    forget();
    serverSends("202 Superfluous");
    EXPECT_THAT(logged(),
                ElementsAre("Tovik: [FTP] 202 \"Superfluous\" ", interpreterSays + "password not implemented"));
    EXPECT_EQ(interpreter().pending, pending);
    EXPECT_THAT(channel.sent(), IsEmpty());
  }
  serverSends("230 Welcome");
  EXPECT_THAT(client.lines(), ElementsAre("onConnected"));
}

TEST_F(Login, IsNotStartedAgainByAGreetingWhileACommandIsPending) {
  interpreter().pending = pending_e::retr;
  serverSends("220 Ready");
  EXPECT_THAT(logged(30), ElementsAre(interpreterSays + "bad pending command 10 while down"));
  EXPECT_THAT(channel.sent(), IsEmpty());
}

TEST_F(Login, LogsTheReplyBeforeTheCommandThatAnswersIt) {
  serverSends("220 Ready");
  EXPECT_THAT(logged(), ElementsAre("Tovik: [FTP] 220 \"Ready\" ", "Tovik: [FTP] USER me"));
}

class Replies : public ControllerFixture {
 protected:
  Replies() {
    loggedIn();
    forget();
  }

  /// A transfer or directory command of the controller's awaits its reply.
  void awaits(pending_e pending, cmd_e command) {
    controller->prepareCommand(command);
    controller->fileName = command == cmd_e::retr ? "file" : "";
    interpreter().pending = pending;
  }

  /// The reply to PASV.
  void offers(const std::string& text) {
    awaits(pending_e::passive, cmd_e::nlst);
    controller->dataConnector = new DataConnector(*controller);
    serverSends("227 " + text);
  }
};

TEST_F(Replies, AreLoggedWithQuotesAroundEachTextAndLineFeedsBetween) {
  interpreter().onInput({2, 5, 0}, {"L"});
  interpreter().onInput({2, 5, 0}, {"a", "", "c"});
  interpreter().onInput({2, 5, 0}, {});
  const std::string bad = interpreterSays + "bad pending command 0 while up";
  EXPECT_THAT(logged(), ElementsAre("Tovik: [FTP] 250 \"L\" ", bad, "Tovik: [FTP] 250 \"a\" \n\"\" \n\"c\" ", bad,
                                    "Tovik: [FTP] 250 ", bad));
}

TEST_F(Replies, AreNotLoggedAboveLevelZeroAndStillUnderstood) {
  qk::logging::SetMinLogLevel(1);
  awaits(pending_e::cwd, cmd_e::cwd);
  serverSends("250 Done");
  EXPECT_THAT(logged(), IsEmpty());
  EXPECT_THAT(client.lines(), ElementsAre("onCwd Done"));
}

TEST_F(Replies, WithoutALineHaveTheTextUnknown) {
  awaits(pending_e::cwd, cmd_e::cwd);
  interpreter().onInput({2, 5, 0}, {});
  EXPECT_THAT(client.lines(), ElementsAre("onCwd unknown"));
}

TEST_F(Replies, ThatWereNotAskedForAreLogged) {
  serverSends("200 What");
  EXPECT_THAT(logged(30), ElementsAre(interpreterSays + "bad pending command 0 while up"));
  EXPECT_THAT(client.lines(), IsEmpty());
}

TEST_F(Replies, DoNothingInASessionStateThatDoesNotExist) {
  interpreter().sessionState = 2;
  interpreter().pending = pending_e::pwd;
  serverSends("257 \"/\"");
  EXPECT_THAT(logged(), ElementsAre("Tovik: [FTP] 257 \"\"/\"\" "));
  EXPECT_EQ(interpreter().pending, pending_e::pwd);
}

TEST_F(Replies, Of421EndTheSessionAndLeaveTheCommandPending) {
  awaits(pending_e::retr, cmd_e::retr);
  dataArrives("x");
  serverSends("421 Closing");
  EXPECT_EQ(interpreter().sessionState, 0);
  EXPECT_EQ(interpreter().pending, pending_e::retr);
  EXPECT_EQ(channel.bringDowns(), 1);
  EXPECT_THAT(client.lines(), IsEmpty());
}

TEST_F(Replies, Of421EndASessionInAStateThatDoesNotExistToo) {
  interpreter().sessionState = 2;
  serverSends("421 Closing");
  EXPECT_EQ(interpreter().sessionState, 0);
  EXPECT_EQ(channel.bringDowns(), 1);
}

TEST_F(Replies, Of530LogOutExceptDuringPwd) {
  awaits(pending_e::pwd, cmd_e::pwd);
  serverSends("530 Not logged in");
  EXPECT_THAT(logged(30), ElementsAre(interpreterSays + "pwd: unknown reply 530"));
  EXPECT_EQ(channel.bringDowns(), 0);
  awaits(pending_e::cwd, cmd_e::cwd);
  serverSends("530 Not logged in");
  EXPECT_EQ(interpreter().sessionState, 0);
  EXPECT_EQ(interpreter().pending, pending_e::none);
  EXPECT_EQ(channel.bringDowns(), 1);
  EXPECT_THAT(client.lines(), IsEmpty());
}

TEST_F(Replies, Of250AreUnknownToCdup) {
  awaits(pending_e::cdup, cmd_e::cdup);
  serverSends("250 Done");
  EXPECT_THAT(logged(30), ElementsAre(interpreterSays + "cdup: unknown reply 250"));
  EXPECT_THAT(client.lines(), IsEmpty());
  serverSends("200 Done");
  EXPECT_THAT(client.lines(), ElementsAre("onCdup Done")) << "the right code is still accepted";
}

TEST_F(Replies, ToNlstReportOnTheFinalOneOnlyWithItsFirstText) {
  awaits(pending_e::nlst, cmd_e::nlst);
  dataArrives("a\r\n");
  serverSends("150 Here it comes");
  EXPECT_THAT(client.lines(), IsEmpty());
  EXPECT_EQ(interpreter().pending, pending_e::nlst);
  serverSends("226-Done");
  serverSends("226 Really");
  EXPECT_THAT(client.lines(), ElementsAre("onNlst a | Done"));
}

TEST_F(Replies, ToRetrWithARestartMarkerAreLogged) {
  awaits(pending_e::retr, cmd_e::retr);
  serverSends("110 MARK 1 = 1");
  EXPECT_THAT(logged(), ElementsAre("Tovik: [FTP] 110 \"MARK 1 = 1\" ", interpreterSays + "restart marker unhandled"));
  EXPECT_EQ(interpreter().pending, pending_e::retr);
}

TEST_F(Replies, ToQuitBringTheChannelDownAndLeaveTheStateAlone) {
  awaits(pending_e::quit, cmd_e::quit);
  serverSends("221 Bye");
  EXPECT_EQ(channel.bringDowns(), 1);
  EXPECT_EQ(interpreter().sessionState, 1);
  EXPECT_EQ(interpreter().pending, pending_e::quit);
  interpreter().onChannelDown(&channel, 1);
  EXPECT_EQ(interpreter().sessionState, 0);
}

TEST_F(Replies, OfSeveralLinesGiveTheirFirstTextOnly) {
  awaits(pending_e::pwd, cmd_e::pwd);
  serverSends("257-\"/first\"");
  serverSends("257 \"/second\"");
  EXPECT_THAT(client.lines(), ElementsAre("onPwd /first"));
}

TEST_F(Replies, LeaveThePendingCommandThatTheClientStartsInsideItsCallback) {
  client.whenever("onPwd", [&] {
    EXPECT_EQ(interpreter().pending, pending_e::none);
    EXPECT_TRUE(controller->cdUp());
  });
  awaits(pending_e::pwd, cmd_e::pwd);
  serverSends("257 \"/\"");
  EXPECT_EQ(interpreter().pending, pending_e::cdup);
}

TEST_F(Replies, ToPasvGiveTheAddressBetweenTheParentheses) {
  offers("Entering Passive Mode (127,0,0,1,0,1) and (more)");
  EXPECT_THAT(logged(),
              ::testing::Contains("Tovik: initiating passive connection to 127.0.0.1:1 on interface 127.0.0.1:0"));
}

TEST_F(Replies, ToPasvWithoutParenthesesFail) {
  for (const char* text : {"Entering Passive Mode", "Entering Passive Mode (10,0,0,1,4,1",
                           "Entering Passive Mode 10,0,0,1,4,1)", ")10,0,0,1,4,1("}) {
    offers(text);
    EXPECT_EQ(client.lines().back(), "onNlstFailed address not delimited by ()") << text;
    EXPECT_EQ(controller->command, cmd_e::none);
    EXPECT_TRUE(controller->stop());
  }
  EXPECT_EQ(client.lines().size(), 4U);
}

TEST_F(Replies, ToPasvWithAnInvalidAddressFailWithTheTextBetweenTheParentheses) {
  for (const std::string text : {"a,b", "", "10,0,0,1,4", "10, 0, 0, 1, 4, 1", "300,0,0,1,4,1"}) {
    offers("Entering (" + text + ")");
    EXPECT_EQ(client.lines().back(), "onNlstFailed couldn't parse " + text);
    EXPECT_EQ(interpreter().pending, pending_e::none);
    EXPECT_TRUE(controller->stop());
  }
}

TEST_F(Replies, ToPasvWithoutALineFail) {
  awaits(pending_e::passive, cmd_e::retr);
  interpreter().onInput({2, 2, 7}, {});
  EXPECT_THAT(client.lines(), ElementsAre("onRetrieveFailed file | no passive address"));
}

}  // namespace
}  // namespace tovik::ftp
