#include <gmock/gmock.h>
#include <sys/stat.h>

#include "support/control_connection.h"
#include "support/serving.h"

namespace testing_support {
namespace {

using testing::EndsWith;
using testing::StartsWith;

class FtpServeTransfer : public ServingTest {
 protected:
  FtpServeTransfer() { serve(); }

  void SetUp() override {
    client.emplace(server->port());
    client->logIn();
  }

  void TearDown() override {
    client.reset();
    ServingTest::TearDown();
  }

  void expectReplies(const std::vector<std::string>& codes) {
    for (const auto& code : codes) EXPECT_THAT(client->reply(), StartsWith(code));
  }

  std::optional<ControlConnection> client;
};

TEST_F(FtpServeTransfer, ListsNamesInPassiveMode) {
  const LoopbackSocket data = client->passive();
  client->send("NLST");
  EXPECT_EQ(data.receiveToEnd(), "data\r\nempty\r\nhello.txt\r\n");
  expectReplies({"150", "226"});
}

TEST_F(FtpServeTransfer, ListsAnotherDirectoryWithItsNameAndWithoutOptions) {
  const LoopbackSocket data = client->passive();
  client->send("NLST -la data");
  EXPECT_EQ(data.receiveToEnd(), "data/a b\r\ndata/large\r\n");
  expectReplies({"150", "226"});
}

TEST_F(FtpServeTransfer, SendsAFileInPassiveMode) {
  const LoopbackSocket data = client->passive();
  client->send("RETR data/large");
  EXPECT_EQ(data.receiveToEnd(), large);
  expectReplies({"150", "226"});
}

TEST_F(FtpServeTransfer, SendsAFileInActiveMode) {
  const LoopbackSocket listener = client->active();
  client->send("RETR data/large");
  EXPECT_EQ(listener.accept().receiveToEnd(), large);
  expectReplies({"150", "226"});
}

TEST_F(FtpServeTransfer, SendsAnEmptyFile) {
  const LoopbackSocket data = client->passive();
  client->send("RETR empty");
  EXPECT_EQ(data.receiveToEnd(), "");
  expectReplies({"150", "226"});
}

TEST_F(FtpServeTransfer, SendsANameWithBlanksFromItsDirectory) {
  client->ask("CWD data");
  const LoopbackSocket data = client->passive();
  client->send("RETR a b");
  EXPECT_EQ(data.receiveToEnd(), "with a blank");
  expectReplies({"150", "226"});
}

TEST_F(FtpServeTransfer, WaitsForAClientThatConnectsAfterItsCommand) {
  const unsigned short port = client->passivePort();
  client->send("RETR hello.txt");
  EXPECT_EQ(LoopbackSocket::connected(loopback(port)).receiveToEnd(), "hello\n");
  expectReplies({"150", "226"});
}

TEST_F(FtpServeTransfer, SendsOneFileAfterTheOther) {
  for (int i = 0; i < 20; ++i) {
    const LoopbackSocket data = client->passive();
    client->send("RETR hello.txt");
    EXPECT_EQ(data.receiveToEnd(), "hello\n");
    expectReplies({"150", "226"});
  }
}

TEST_F(FtpServeTransfer, RefusesAMissingFileAndClosesItsDataConnection) {
  const LoopbackSocket data = client->passive();
  EXPECT_EQ(client->ask("RETR nothing"), "550 /nothing: No such file or directory");
  EXPECT_EQ(data.receiveToEnd(), "");
}

TEST_F(FtpServeTransfer, RefusesWhatIsNoPlainFile) {
  ASSERT_EQ(::mkfifo((root / "pipe").c_str(), 0600), 0);
  client->passivePort();
  EXPECT_EQ(client->code("RETR pipe"), "550");
  client->passivePort();
  EXPECT_EQ(client->code("RETR data"), "550");
}

TEST_F(FtpServeTransfer, RefusesWhatLiesOutsideItsDirectory) {
  std::filesystem::create_symlink("/etc/passwd", root.path() / "out");
  for (const char* const name : {"out", "../../../../etc/passwd", "/etc/passwd"}) {
    client->passivePort();
    EXPECT_EQ(client->code(std::string("RETR ") + name), "550") << name;
  }
  std::filesystem::create_directory_symlink("/etc", root.path() / "etc");
  EXPECT_EQ(client->code("CWD etc"), "550");
}

TEST_F(FtpServeTransfer, RefusesToListAMissingDirectory) {
  const LoopbackSocket data = client->passive();
  EXPECT_EQ(client->code("NLST nothing"), "450");
  EXPECT_EQ(data.receiveToEnd(), "");
}

TEST_F(FtpServeTransfer, NeedsADataConnectionForEachFile) {
  EXPECT_EQ(client->code("RETR hello.txt"), "425");
  const LoopbackSocket data = client->passive();
  client->send("RETR hello.txt");
  data.receiveToEnd();
  expectReplies({"150", "226"});
  EXPECT_EQ(client->code("RETR hello.txt"), "425");
}

TEST_F(FtpServeTransfer, SaysWhenADataConnectionBroke) {
  {
    const LoopbackSocket data = client->passive();
    client->send("RETR data/large");
    data.receive();
  }
  expectReplies({"150", "426"});
  EXPECT_EQ(client->code("NOOP"), "200");
}

TEST_F(FtpServeTransfer, SaysWhenNobodyListensInActiveMode) {
  client->active();
  EXPECT_EQ(client->code("RETR hello.txt"), "425");
}

TEST_F(FtpServeTransfer, ConnectsToItsClientOnly) {
  EXPECT_EQ(client->code("PORT 127,0,0,2,8,8"), "500");
  EXPECT_EQ(client->code("PORT 127,0,0,1,8"), "501");
  EXPECT_EQ(client->code("RETR hello.txt"), "425");
}

TEST_F(FtpServeTransfer, HasNoDataForStrangers) {
  const unsigned short port = client->passivePort();
  client->send("RETR hello.txt");
  EXPECT_EQ(LoopbackSocket::connected(loopback(port), loopback(0, "127.0.0.2")).receiveToEnd(), "");
  EXPECT_EQ(LoopbackSocket::connected(loopback(port)).receiveToEnd(), "hello\n");
  expectReplies({"150", "226"});
}

TEST_F(FtpServeTransfer, ListensOnTheLatestPortOnly) {
  const unsigned short first = client->passivePort();
  const unsigned short second = client->passivePort();
  EXPECT_THROW(LoopbackSocket::connected(loopback(first)), std::system_error);
  client->active();
  EXPECT_THROW(LoopbackSocket::connected(loopback(second)), std::system_error);
}

TEST_F(FtpServeTransfer, AnswersWhatComesDuringATransferAfterIt) {
  const LoopbackSocket data = client->passive();
  client->send("RETR data/large\r\nNOOP\r\nPWD\r\nRETR hello.txt\r\nPWD");
  EXPECT_EQ(data.receiveToEnd(), large);
  expectReplies({"150", "226", "200", "257", "425", "257"});
}

TEST_F(FtpServeTransfer, GivesUpAClientThatSendsTooMuchAhead) {
  const LoopbackSocket data = client->passive();
  client->send("RETR data/large");
  expectReplies({"150"});
  for (int i = 0; i < 65; ++i) client->send("NOOP");
  expectReplies({"421"});
  EXPECT_EQ(client->reply(), "");
  EXPECT_LT(data.receiveToEnd().size(), large.size());
}

TEST_F(FtpServeTransfer, IsCutShortByTheServersEndAndNeverCalledWhole) {
  const LoopbackSocket data = client->passive();
  client->send("RETR data/large");
  expectReplies({"150"});
  server->stop();
  EXPECT_EQ(client->reply(), "");
  EXPECT_LT(data.receiveToEnd().size(), large.size());
}

TEST_F(FtpServeTransfer, EndsWithItsSession) {
  const LoopbackSocket data = client->passive();
  client->send("RETR data/large");
  expectReplies({"150"});
  client.reset();
  EXPECT_LT(data.receiveToEnd().size(), large.size());
}

}  // namespace
}  // namespace testing_support
