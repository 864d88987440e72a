#include <gmock/gmock.h>

#include "support/control_connection.h"
#include "support/log_capture.h"
#include "support/serving.h"

namespace testing_support {
namespace {

using testing::StartsWith;

class FtpServe : public ServingTest {};

TEST_F(FtpServe, GreetsAndLogsAnybodyInWhereNoUserIsSet) {
  serve();
  ControlConnection client(server->port());
  EXPECT_THAT(client.greeting(), StartsWith("220 "));
  EXPECT_EQ(client.code("USER anybody"), "331");
  EXPECT_EQ(client.code("PASS anything"), "230");
}

TEST_F(FtpServe, LogsOnlyItsUserIn) {
  serve("me", "secret");
  ControlConnection client(server->port());
  for (const auto& [user, password] : {std::pair("me", "wrong"), std::pair("you", "secret"), std::pair("", "")}) {
    EXPECT_EQ(client.code(std::string("USER ") + user), "331");
    EXPECT_EQ(client.code(std::string("PASS ") + password), "530");
    EXPECT_EQ(client.code("PWD"), "530");
  }
  client.logIn("me", "secret");
  EXPECT_EQ(client.code("PWD"), "257");
}

TEST_F(FtpServe, WantsTheUserBeforeThePassword) {
  serve();
  ControlConnection client(server->port());
  EXPECT_EQ(client.code("PASS p"), "503");
  EXPECT_EQ(client.code("ACCT a"), "503");
}

TEST_F(FtpServe, AnswersFewCommandsBeforeTheLogin) {
  serve();
  ControlConnection client(server->port());
  for (const char* const command : {"TYPE I", "PWD", "CWD data", "CDUP", "NLST", "RETR hello.txt", "PASV", "PORT 1"})
    EXPECT_EQ(client.code(command), "530") << command;
  EXPECT_EQ(client.code("NOOP"), "200");
  EXPECT_EQ(client.code("QUIT"), "221");
  EXPECT_EQ(client.reply(), "");
}

TEST_F(FtpServe, ForgetsTheLoginWithANewUser) {
  serve("me", "secret");
  ControlConnection client(server->port());
  client.logIn("me", "secret");
  client.ask("USER me");
  EXPECT_EQ(client.code("PWD"), "530");
}

TEST_F(FtpServe, TakesAnAccountThatNobodyNeeds) {
  serve();
  ControlConnection client(server->port());
  client.logIn();
  EXPECT_EQ(client.code("ACCT a"), "230");
}

TEST_F(FtpServe, KnowsTheTypesThatChangeNothing) {
  serve();
  ControlConnection client(server->port());
  client.logIn();
  for (const char* const type : {"A", "I", "a n", "L8", "l 8"})
    EXPECT_EQ(client.code(std::string("TYPE ") + type), "200");
  for (const char* const type : {"", "E", "L 7", "A T"}) EXPECT_EQ(client.code(std::string("TYPE ") + type), "501");
}

TEST_F(FtpServe, ChangesItsDirectory) {
  serve();
  ControlConnection client(server->port());
  client.logIn();
  EXPECT_THAT(client.ask("PWD"), StartsWith("257 \"/\" "));
  EXPECT_EQ(client.code("CWD data"), "250");
  EXPECT_THAT(client.ask("PWD"), StartsWith("257 \"/data\" "));
  EXPECT_EQ(client.code("CDUP"), "200");
  EXPECT_EQ(client.code("CDUP"), "200");
  EXPECT_THAT(client.ask("PWD"), StartsWith("257 \"/\" "));
}

TEST_F(FtpServe, StaysWhereItIsWhenADirectoryIsMissing) {
  serve();
  ControlConnection client(server->port());
  client.logIn();
  EXPECT_EQ(client.code("CWD nothing"), "550");
  EXPECT_EQ(client.code("CWD hello.txt"), "550");
  EXPECT_THAT(client.ask("PWD"), StartsWith("257 \"/\" "));
}

TEST_F(FtpServe, DoublesTheQuotesInADirectory) {
  root.write("a\"b/file", "");
  serve();
  ControlConnection client(server->port());
  client.logIn();
  EXPECT_EQ(client.code("CWD a\"b"), "250");
  EXPECT_THAT(client.ask("PWD"), StartsWith("257 \"/a\"\"b\" "));
}

TEST_F(FtpServe, DoesNotKnowAnyOtherCommand) {
  serve();
  ControlConnection client(server->port());
  client.logIn();
  for (const char* const command :
       {"EPSV", "FEAT", "SIZE hello.txt", "LIST", "STOR x", "DELE hello.txt", "ABOR", "", "X"})
    EXPECT_EQ(client.code(command), "502") << command;
}

TEST_F(FtpServe, ReadsCommandsInCapitalsAndNot) {
  serve();
  ControlConnection client(server->port());
  client.logIn();
  EXPECT_EQ(client.code("pwd"), "257");
}

TEST_F(FtpServe, AnswersCommandsInOrderHoweverTheyArrive) {
  serve();
  ControlConnection client(server->port());
  client.sendRaw("USER u\r\nPASS p\r\nCWD data\r\nNO");
  EXPECT_THAT(client.reply(), StartsWith("331"));
  EXPECT_THAT(client.reply(), StartsWith("230"));
  EXPECT_THAT(client.reply(), StartsWith("250"));
  client.sendRaw("OP\r\n");
  EXPECT_THAT(client.reply(), StartsWith("200"));
}

TEST_F(FtpServe, EndsASessionWhoseLineNeverEnds) {
  const LogCapture log(qk::logging::LogLevel::Warning);
  serve();
  ControlConnection client(server->port());
  client.sendRaw(std::string(20'000, 'x'));
  EXPECT_EQ(client.reply(), "");
}

TEST_F(FtpServe, ServesManySessionsAtOnce) {
  serve();
  std::vector<std::unique_ptr<ControlConnection>> clients;
  for (int i = 0; i < 50; ++i) clients.push_back(std::make_unique<ControlConnection>(server->port()));
  for (const auto& client : clients) client->logIn();
  for (const auto& client : clients) EXPECT_EQ(client->code("CWD data"), "250");
}

TEST_F(FtpServe, SpreadsSessionsOverItsWorkers) {
  serve("", "", 3);
  std::vector<std::unique_ptr<ControlConnection>> clients;
  for (int i = 0; i < 20; ++i) clients.push_back(std::make_unique<ControlConnection>(server->port()));
  for (const auto& client : clients) client->logIn();
  for (const auto& client : clients) EXPECT_EQ(client->code("PWD"), "257");
}

TEST_F(FtpServe, EndsEverySessionWhenItStops) {
  serve();
  ControlConnection idle(server->port());
  ControlConnection listening(server->port());
  listening.logIn();
  listening.ask("PASV");
  server->stop();
  EXPECT_EQ(idle.reply(), "");
  EXPECT_EQ(listening.reply(), "");
  server->stop();
}

TEST_F(FtpServe, DoesNotStartWithoutItsDirectory) {
  ftp_serve::Options options;
  options.root = root / "nothing";
  ftp_serve::FtpServer other(options);
  EXPECT_EQ(other.start().message, root / "nothing" + ": No such file or directory");
}

TEST_F(FtpServe, DoesNotStartOnAPortThatIsTaken) {
  serve();
  ftp_serve::Options options;
  options.root = root.path();
  options.listen = server->address();
  ftp_serve::FtpServer other(options);
  EXPECT_THAT(other.start().message, testing::HasSubstr(server->address().printInet()));
}

}  // namespace
}  // namespace testing_support
