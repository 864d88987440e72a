#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "servers/temporary_directory.h"
#include "servers/vsftpd_server.h"
#include "support/leftovers.h"
#include "support/log_capture.h"
#include "support/waiting.h"
#include "tovik/dispatch_store.h"
#include "tovik/ftp_bridge/ftp_bridge.h"

namespace {

using testing_support::Awaited;
using tovik::ftp::Controller;

/// What a session has told so far, each event a line; a file's content is kept aside.
struct Told {
  std::vector<std::string> events;
  std::vector<std::string> names;
  std::string content;
};

/// Keeps what it is told, for the test's thread to wait for and go on from.
class WaitingClient : public tovik::ftp::FTPclient {
 public:
  /// Waits for the next event that has not been taken yet; not again once one has failed to come.
  std::string next() {
    lost_ = lost_ || !told_.waitUntil([&](const Told& told) { return told.events.size() > taken_; });
    return lost_ ? "nothing came" : told_.get().events[taken_++];
  }
  std::vector<std::string> names() const { return told_.get().names; }
  std::string takeContent() {
    std::string content;
    told_.change([&](Told& told) { content.swap(told.content); });
    return content;
  }

  void onConnected() override { tell("connected"); }
  void onDisconnected() override { tell("disconnected"); }
  void onPwd(const std::string& directory) override { tell("pwd " + directory); }
  void onPwdFailed(const std::string& text) override { tell("pwd failed: " + text); }
  void onCwd(const std::string& text) override { tell("cwd: " + text); }
  void onCwdFailed(const std::string& text) override { tell("cwd failed: " + text); }
  void onCdup(const std::string& text) override { tell("cdup: " + text); }
  void onCdupFailed(const std::string& text) override { tell("cdup failed: " + text); }
  void onNlst(const std::vector<std::string>& names, const std::string& text) override {
    told_.change([&](Told& told) { told.names = names; });
    tell("nlst: " + text);
  }
  void onNlstFailed(const std::string& text) override { tell("nlst failed: " + text); }
  void onRetrieve(const std::string& fileName, const std::string& text, std::string* content) override {
    const std::unique_ptr<std::string> owned(content);
    told_.change([&](Told& told) { told.content.swap(*owned); });
    tell("retr " + fileName + ": " + text);
  }
  void onRetrieveFailed(const std::string& fileName, const std::string& text) override {
    tell("retr failed " + fileName + ": " + text);
  }

 private:
  void tell(const std::string& event) {
    told_.change([&](Told& told) { told.events.push_back(event); });
  }

  Awaited<Told> told_;
  std::size_t taken_ = 0;
  bool lost_ = false;
};

std::string randomBytes(std::size_t size) {
  std::mt19937_64 generator(20260101);
  std::string bytes(size, '\0');
  std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(generator()); });
  return bytes;
}

/// A session with a vsftpd, in passive mode where the parameter says so, else in active mode.
class Vsftpd : public testing::TestWithParam<bool> {
 protected:
  Vsftpd() {
    put("pub/text.txt", "one line\r\n");
    put("pub/empty", "");
    put("pub/with blank.txt", "blank");
    EXPECT_TRUE(tovik::DispatchStore::inst().add("vsftpd", 1));
    tovik::ftp::connection_data_t connection;
    EXPECT_TRUE(connection.server.set_host("127.0.0.1"));
    connection.server.set_port(server_.port());
    EXPECT_TRUE(connection.local.set_host("127.0.0.1"));
    connection.user = "anonymous";
    connection.password = "tester@example.org";
    controller_ = std::make_unique<Controller>(connection, &client_, "vsftpd", 1, nullptr);
  }

  ~Vsftpd() override {
    controller_.reset();
    EXPECT_TRUE(tovik::DispatchStore::inst().remove("vsftpd"));
    EXPECT_EQ(testing_support::heldNow(), heldBefore_);
  }

  void put(const std::string& name, const std::string& content) {
    const auto path = root_.path() / name;
    std::filesystem::create_directories(path.parent_path());
    std::filesystem::permissions(path.parent_path(), std::filesystem::perms(0755));
    std::ofstream(path, std::ios::binary) << content;
    std::filesystem::permissions(path, std::filesystem::perms(0644));
  }

  void logIn() {
    ASSERT_TRUE(controller_->start());
    ASSERT_EQ(client_.next(), "connected");
  }

  void enterPub() {
    ASSERT_TRUE(controller_->changeCwd("pub"));
    ASSERT_EQ(client_.next(), "cwd: Directory successfully changed.");
  }

  void expectFile(const std::string& name, const std::string& content) {
    ASSERT_TRUE(controller_->getFile(name, passive_));
    ASSERT_EQ(client_.next(), "retr " + name + ": Transfer complete.");
    ASSERT_TRUE(client_.takeContent() == content) << name << " differs";
  }

  void logOut() {
    ASSERT_TRUE(controller_->sendLogout());
    ASSERT_EQ(client_.next(), "disconnected");
  }

  const test_servers::TemporaryDirectory root_;
  const test_servers::VsftpdServer server_{root_.path()};
  const testing_support::Held heldBefore_ = testing_support::heldNow();
  const bool passive_ = GetParam();
  WaitingClient client_;
  std::unique_ptr<Controller> controller_;
};

INSTANTIATE_TEST_SUITE_P(BothModes, Vsftpd, testing::Values(true, false),
                         [](const auto& mode) { return mode.param ? "Passive" : "Active"; });

TEST_P(Vsftpd, TellsAndChangesTheDirectory) {
  logIn();
  ASSERT_TRUE(controller_->getPwd());
  EXPECT_EQ(client_.next(), "pwd /");
  enterPub();
  ASSERT_TRUE(controller_->getPwd());
  EXPECT_EQ(client_.next(), "pwd /pub");
  ASSERT_TRUE(controller_->changeCwd("nowhere"));
  EXPECT_EQ(client_.next(), "cwd failed: Failed to change directory.");
  logOut();
}

TEST_P(Vsftpd, ListsTheNames) {
  logIn();
  enterPub();
  ASSERT_TRUE(controller_->getNlst(passive_));
  EXPECT_EQ(client_.next(), "nlst: Directory send OK.");
  std::vector<std::string> names = client_.names();
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"empty", "text.txt", "with blank.txt"}));
  logOut();
}

TEST_P(Vsftpd, RetrievesSmallFilesWhole) {
  logIn();
  enterPub();
  expectFile("text.txt", "one line\r\n");
  expectFile("empty", "");
  expectFile("with blank.txt", "blank");
  logOut();
}

TEST_P(Vsftpd, RetrievesALargeFileByteForByte) {
  const std::string content = randomBytes(64UL << 20U);
  put("pub/large", content);
  logIn();
  enterPub();
  expectFile("large", content);
  logOut();
}

class Passive : public Vsftpd {};
INSTANTIATE_TEST_SUITE_P(Refusal, Passive, testing::Values(true));

// This server opens its end before it looks for the file, and leaves it open: the first-byte limit ends it.
TEST_P(Passive, ReportsARefusedFileOnceItsDataConnectionHasBeenGivenUp) {
  logIn();
  ASSERT_TRUE(controller_->getFile("missing", passive_));
  EXPECT_EQ(client_.next(), "retr failed missing: Failed to open file.");
  enterPub();
  expectFile("text.txt", "one line\r\n");
  logOut();
}

class Active : public Vsftpd {};
INSTANTIATE_TEST_SUITE_P(Refusal, Active, testing::Values(false));

// It never connects for a file that it refuses, so there is no end of data to wait for.
TEST_P(Active, StaysBusyWithARefusedFile) {
  const testing_support::LogCapture log;
  logIn();
  ASSERT_TRUE(controller_->getFile("missing", passive_));
  ASSERT_TRUE(log.waitFor("Tovik: [FTP] 550 \"Failed to open file.\" "));
  EXPECT_EQ(controller_->getPwd().message, "retr still active");
}

}  // namespace
