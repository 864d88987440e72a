#include "real_server.h"

#include <gmock/gmock.h>

#include <fstream>
#include <string>

#include "server_kinds.h"
#include "support/control_connection.h"
#include "support/temp_directory.h"
#include "vsftpd_server.h"

namespace {

using test_servers::RealServer;
using test_servers::VsftpdServer;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using testing_support::ControlConnection;
using testing_support::loopback;
using testing_support::LoopbackSocket;
using testing_support::TempDirectory;

class EachServer : public ::testing::TestWithParam<test_servers::ServerKind> {
 protected:
  void SetUp() override {
    if (!GetParam().startable()) GTEST_SKIP() << "only root can start it";
  }
  std::unique_ptr<RealServer> make() const { return GetParam().make(root_.path()); }
  static void logIn(const RealServer& server, ControlConnection& control) {
    ASSERT_THAT(control.ask("USER " + server.account().user), StartsWith("331 "));
    ASSERT_THAT(control.ask("PASS " + server.account().password), StartsWith("230 "));
  }

  const TempDirectory root_;
};

INSTANTIATE_TEST_SUITE_P(Servers, EachServer, testing::ValuesIn(test_servers::serverKinds()),
                         [](const auto& kind) { return kind.param.name; });

TEST_P(EachServer, LogsInAndOut) {
  const auto server = make();
  ControlConnection control(loopback(server->port(), server->host()));
  EXPECT_THAT(control.greeting(), StartsWith("220"));
  logIn(*server, control);
  EXPECT_THAT(control.ask("PWD"), StartsWith("257 \"/"));
  EXPECT_THAT(control.ask("QUIT"), StartsWith("221 "));
  EXPECT_TRUE(control.waitForEnd());
}

TEST_P(EachServer, ServesTheFilesOfItsRoot) {
  std::ofstream(root_.path() / "with blank.bin") << "some bytes";
  const auto server = make();
  ControlConnection control(loopback(server->port(), server->host()));
  logIn(*server, control);
  {
    // One of them answers only once its peer has closed, too.
    const LoopbackSocket data = control.passive();
    EXPECT_THAT(control.ask("RETR with blank.bin"), StartsWith("1"));
    EXPECT_EQ(data.receiveToEnd(), "some bytes");
  }
  EXPECT_THAT(control.reply(), StartsWith("226 "));
}

TEST_P(EachServer, RunsNextToAnother) {
  const auto one = make();
  const auto other = make();
  EXPECT_NE(one->port(), other->port());
}

TEST_P(EachServer, LeavesNobodyListening) {
  auto server = make();
  const auto host = server->host();
  const auto port = server->port();
  server.reset();
  EXPECT_THROW(LoopbackSocket::connected(loopback(port, host)), std::system_error);
}

TEST(Vsftpd, SaysHowToGetTheProgramWhenThereIsNone) {
  const TempDirectory root;
  try {
    const VsftpdServer server(root.path(), root.path() / "vsftpd");
    FAIL() << "started";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("run scripts/setup --tests"));
  }
}

TEST(Vsftpd, SaysWhyItDoesNotComeUp) {
  const TempDirectory root;
  try {
    const VsftpdServer server(root.path(), "/bin/ls");
    FAIL() << "started";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("vsftpd.conf"));
  }
}

}  // namespace
