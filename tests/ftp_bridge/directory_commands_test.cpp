#include <tovik/text.h>

#include <string>

#include "controller_fixture.h"

namespace tovik::ftp {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class DirectoryCommands : public ControllerFixture {
 protected:
  DirectoryCommands() {
    loggedIn();
    forget();
  }

  /// The callback when the server answers PWD with a text.
  std::string pwdOf(const std::string& text, bool ok = true) {
    controller->command = cmd_e::pwd;
    controller->onPwd(ok, text);
    EXPECT_EQ(controller->command, cmd_e::none);
    return client.lines().back();
  }
};

TEST_F(DirectoryCommands, AskForTheCurrentDirectory) {
  const Result result = controller->getPwd();
  EXPECT_TRUE(result);
  EXPECT_EQ(result.message, "");
  EXPECT_EQ(controller->command, cmd_e::pwd);
  EXPECT_EQ(interpreter().pending, pending_e::pwd);
  EXPECT_THAT(channel.sent(), ElementsAre("PWD\r\n"));
  EXPECT_THAT(logged(), ElementsAre("Tovik: controller getting current directory", "Tovik: [FTP] PWD"));
}

TEST_F(DirectoryCommands, ChangeTheDirectory) {
  EXPECT_TRUE(controller->changeCwd("pub"));
  EXPECT_EQ(controller->command, cmd_e::cwd);
  EXPECT_EQ(interpreter().pending, pending_e::cwd);
  EXPECT_THAT(channel.sent(), ElementsAre("CWD pub\r\n"));
  EXPECT_THAT(logged(), ElementsAre("Tovik: controller changing working directory to pub", "Tovik: [FTP] CWD pub"));
}

TEST_F(DirectoryCommands, SendADirectoryExactlyAsGiven) {
  for (const std::string directory : {"", "  a  b ", "\"q\"", "../x", "a\r\nDELE b"}) {
    forget();
    EXPECT_TRUE(controller->changeCwd(directory));
    EXPECT_THAT(channel.sent(), ElementsAre("CWD " + directory + "\r\n"));
    controller->command = cmd_e::none;
  }
}

TEST_F(DirectoryCommands, GoToTheParentDirectory) {
  EXPECT_TRUE(controller->cdUp());
  EXPECT_EQ(controller->command, cmd_e::cdup);
  EXPECT_EQ(interpreter().pending, pending_e::cdup);
  EXPECT_THAT(channel.sent(), ElementsAre("CDUP\r\n"));
  EXPECT_THAT(logged(), ElementsAre("Tovik: controller changing to parent directory", "Tovik: [FTP] CDUP"));
}

TEST_F(DirectoryCommands, LogAtLevelZeroAndNotAboveIt) {
  EXPECT_TRUE(controller->getPwd());
  for (const auto& record : records()) EXPECT_EQ(record.level, 0);
  qk::logging::SetMinLogLevel(1);
  forget();
  for (const auto& operation : {&Controller::getPwd, &Controller::cdUp, &Controller::sendLogout}) {
    controller->command = cmd_e::none;
    EXPECT_TRUE((controller.get()->*operation)());
  }
  EXPECT_THAT(logged(), IsEmpty());
  EXPECT_EQ(channel.sent().size(), 3U);
}

TEST_F(DirectoryCommands, FindTheDirectoryBetweenDoubleQuotes) {
  EXPECT_EQ(pwdOf("\"/usr/data\" is current directory"), "onPwd /usr/data");
  EXPECT_EQ(pwdOf("now in \"/usr/data\""), "onPwd /usr/data");
}

TEST_F(DirectoryCommands, FindAnEmptyDirectory) { EXPECT_EQ(pwdOf("\"\""), "onPwd "); }

TEST_F(DirectoryCommands, EndTheDirectoryAtADoubledQuote) { EXPECT_EQ(pwdOf("\"/a\"\"b\""), "onPwd /a"); }

TEST_F(DirectoryCommands, FailOnAReplyWithoutQuotes) {
  EXPECT_EQ(pwdOf("/usr/data"), "onPwdFailed couldn't parse /usr/data");
  EXPECT_EQ(pwdOf(""), "onPwdFailed couldn't parse ");
}

TEST_F(DirectoryCommands, FailOnAReplyWithASingleQuoteWithWhatFollowsIt) {
  EXPECT_EQ(pwdOf("\"/usr/data is current"), "onPwdFailed couldn't parse /usr/data is current");
  EXPECT_EQ(pwdOf("now \"/usr/data"), "onPwdFailed couldn't parse /usr/data");
}

TEST_F(DirectoryCommands, PassOnANegativeReplyToPwdAsItCame) {
  EXPECT_EQ(pwdOf("\"/a\" gone", false), "onPwdFailed \"/a\" gone");
}

TEST_F(DirectoryCommands, PassOnTheRepliesToCwdAndCdupAsTheyCame) {
  controller->onCwd(true, "\"/a\" now");
  controller->onCwd(false, "no");
  controller->onCdup(true, "\"/\" now");
  controller->onCdup(false, "never");
  EXPECT_THAT(client.lines(),
              ElementsAre("onCwd \"/a\" now", "onCwdFailed no", "onCdup \"/\" now", "onCdupFailed never"));
  EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(DirectoryCommands, StartInsideEachOthersCallbacks) {
  client.whenever("onPwd", [&] { EXPECT_TRUE(controller->changeCwd("b")); });
  client.whenever("onCwd", [&] { EXPECT_TRUE(controller->cdUp()); });
  client.whenever("onCdup", [&] { EXPECT_TRUE(controller->getPwd()); });
  client.whenever("onPwdFailed", [&] { EXPECT_TRUE(controller->changeCwd("c")); });
  client.whenever("onCwdFailed", [&] { EXPECT_TRUE(controller->cdUp()); });
  client.whenever("onCdupFailed", [&] { EXPECT_TRUE(controller->getPwd()); });
  EXPECT_TRUE(controller->getPwd());
  for (const char* reply : {"257 \"/\"", "250 ok", "200 ok", "550 no", "550 no", "550 no"}) serverSends(reply);
  EXPECT_THAT(client.lines(),
              ElementsAre("onPwd /", "onCwd ok", "onCdup ok", "onPwdFailed no", "onCwdFailed no", "onCdupFailed no"));
  EXPECT_THAT(channel.sent(),
              ElementsAre("PWD\r\n", "CWD b\r\n", "CDUP\r\n", "PWD\r\n", "CWD c\r\n", "CDUP\r\n", "PWD\r\n"));
}

TEST(FindSubstring, KeepsTheTextBetweenTheDelimiters) {
  const auto cut = [](std::string text) {
    const bool found = findSubstring(text, '(', ')');
    return std::pair(found, text);
  };
  EXPECT_EQ(cut("a (b) c"), std::pair(true, std::string("b")));
  EXPECT_EQ(cut("a () c"), std::pair(true, std::string()));
  EXPECT_EQ(cut(") (b) (c)"), std::pair(true, std::string("b")));
  EXPECT_EQ(cut("((b))"), std::pair(true, std::string("(b")));
  EXPECT_EQ(cut("a b) c"), std::pair(false, std::string("a b) c")));
  EXPECT_EQ(cut("a (b c"), std::pair(false, std::string("b c")));
  EXPECT_EQ(cut(""), std::pair(false, std::string()));
}

}  // namespace
}  // namespace tovik::ftp
