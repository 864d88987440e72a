#include "real_server.h"

#include <gmock/gmock.h>

#include <fstream>
#include <string>

#include "control_connection.h"
#include "server_kinds.h"
#include "vsftpd_server.h"

namespace {

using test_servers::ControlConnection;
using test_servers::RealServer;
using test_servers::TemporaryDirectory;
using test_servers::VsftpdServer;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class EachServer : public ::testing::TestWithParam<test_servers::ServerKind> {
 protected:
  void SetUp() override {
    if (!GetParam().startable()) GTEST_SKIP() << "only root can start it";
  }
  std::unique_ptr<RealServer> make() const { return GetParam().make(root_.path()); }
  /// The last line of the reply to come, or to the command.
  static std::string reply(ControlConnection& control) {
    auto line = control.readLine();
    while (line.size() < 4 || line[3] != ' ') line = control.readLine();
    return line;
  }
  static std::string reply(ControlConnection& control, const std::string& command) {
    const auto line = control.ask(command);
    return line.size() > 3 && line[3] == '-' ? reply(control) : line;
  }
  static void logIn(const RealServer& server, ControlConnection& control) {
    ASSERT_THAT(reply(control), StartsWith("220 "));
    ASSERT_THAT(reply(control, "USER " + server.account().user), StartsWith("331 "));
    ASSERT_THAT(reply(control, "PASS " + server.account().password), StartsWith("230 "));
  }
  static std::uint16_t passivePort(ControlConnection& control) {
    const auto answer = reply(control, "PASV");
    const auto low = answer.rfind(',');
    const auto high = answer.rfind(',', low - 1);
    return static_cast<std::uint16_t>(std::stoi(answer.substr(high + 1)) * 256 + std::stoi(answer.substr(low + 1)));
  }

  const TemporaryDirectory root_;
};

INSTANTIATE_TEST_SUITE_P(Servers, EachServer, testing::ValuesIn(test_servers::serverKinds()),
                         [](const auto& kind) { return kind.param.name; });

TEST_P(EachServer, LogsInAndOut) {
  const auto server = make();
  ControlConnection control(server->host(), server->port());
  logIn(*server, control);
  EXPECT_THAT(reply(control, "PWD"), StartsWith("257 \"/"));
  EXPECT_THAT(reply(control, "QUIT"), StartsWith("221 "));
  EXPECT_EQ(control.readAll(), "");
}

TEST_P(EachServer, ServesTheFilesOfItsRoot) {
  std::ofstream(root_.path() / "with blank.bin") << "some bytes";
  const auto server = make();
  ControlConnection control(server->host(), server->port());
  logIn(*server, control);
  {
    // One of them answers only once its peer has closed, too.
    ControlConnection data(server->host(), passivePort(control));
    EXPECT_THAT(reply(control, "RETR with blank.bin"), StartsWith("1"));
    EXPECT_EQ(data.readAll(), "some bytes");
  }
  EXPECT_THAT(reply(control), StartsWith("226 "));
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
  EXPECT_THROW(ControlConnection(host, port), std::system_error);
}

TEST(Vsftpd, SaysHowToGetTheProgramWhenThereIsNone) {
  const TemporaryDirectory root;
  try {
    const VsftpdServer server(root.path(), root.path() / "vsftpd");
    FAIL() << "started";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("run scripts/setup --tests"));
  }
}

TEST(Vsftpd, SaysWhyItDoesNotComeUp) {
  const TemporaryDirectory root;
  try {
    const VsftpdServer server(root.path(), "/bin/ls");
    FAIL() << "started";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("vsftpd.conf"));
  }
}

}  // namespace
