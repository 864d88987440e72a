#include "vsftpd_server.h"

#include <gmock/gmock.h>

#include <fstream>
#include <string>

#include "control_connection.h"
#include "temporary_directory.h"

namespace {

using test_servers::ControlConnection;
using test_servers::TemporaryDirectory;
using test_servers::VsftpdServer;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class Vsftpd : public ::testing::Test {
 protected:
  void put(const std::string& name, const std::string& content) { std::ofstream(root_.path() / name) << content; }
  static void logIn(ControlConnection& control) {
    control.readLine();
    control.ask("USER anonymous");
    control.ask("PASS guest");
  }
  static std::uint16_t passivePort(ControlConnection& control) {
    const auto reply = control.ask("PASV");
    const auto low = reply.rfind(',');
    const auto high = reply.rfind(',', low - 1);
    return static_cast<std::uint16_t>(std::stoi(reply.substr(high + 1)) * 256 + std::stoi(reply.substr(low + 1)));
  }

  const TemporaryDirectory root_;
};

TEST_F(Vsftpd, LogsInAnonymously) {
  const VsftpdServer server(root_.path());
  ControlConnection control(server.host(), server.port());
  EXPECT_THAT(control.readLine(), StartsWith("220 "));
  EXPECT_THAT(control.ask("USER anonymous"), StartsWith("331 "));
  EXPECT_THAT(control.ask("PASS guest"), StartsWith("230 "));
  EXPECT_THAT(control.ask("PWD"), StartsWith("257 \"/"));
  EXPECT_THAT(control.ask("QUIT"), StartsWith("221 "));
  EXPECT_EQ(control.readAll(), "");
}

TEST_F(Vsftpd, ServesTheFilesOfItsRoot) {
  const std::string content("line\nend\r\n\0last", 16);
  put("with blank.bin", content);
  const VsftpdServer server(root_.path());
  ControlConnection control(server.host(), server.port());
  logIn(control);
  ControlConnection data(server.host(), passivePort(control));
  EXPECT_THAT(control.ask("RETR with blank.bin"), StartsWith("150 "));
  EXPECT_EQ(data.readAll(), content);
  EXPECT_THAT(control.readLine(), StartsWith("226 "));
}

TEST_F(Vsftpd, RunsNextToAnother) {
  const VsftpdServer one(root_.path());
  const VsftpdServer other(root_.path());
  EXPECT_NE(one.port(), other.port());
}

TEST_F(Vsftpd, LeavesNothingRunning) {
  std::uint16_t port = 0;
  {
    const VsftpdServer server(root_.path());
    port = server.port();
  }
  EXPECT_THROW(ControlConnection("127.0.0.1", port), std::system_error);
}

TEST_F(Vsftpd, EndsItsSessionsWhenItEnds) {
  auto server = std::make_unique<VsftpdServer>(root_.path());
  ControlConnection control(server->host(), server->port());
  logIn(control);
  server.reset();
  EXPECT_NO_THROW(control.readAll());
}

TEST_F(Vsftpd, SaysHowToGetTheProgramWhenThereIsNone) {
  try {
    const VsftpdServer server(root_.path(), root_.path() / "vsftpd");
    FAIL() << "started";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("run scripts/setup --tests"));
  }
}

TEST_F(Vsftpd, SaysWhyItDoesNotComeUp) {
  try {
    const VsftpdServer server(root_.path(), "/bin/ls");
    FAIL() << "started";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("vsftpd.conf"));
  }
}

}  // namespace
