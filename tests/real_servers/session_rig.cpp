#include "session_rig.h"

#include <algorithm>

namespace real_servers {

using testing::StartsWith;

namespace {

const char* const dispatcher = "real servers";
constexpr unsigned workers = 2;

tovik::ftp::connection_data_t connectionTo(const test_servers::RealServer& server, const std::string& user) {
  tovik::ftp::connection_data_t connection;
  EXPECT_TRUE(connection.server.set_host(server.host()));
  connection.server.set_port(server.port());
  EXPECT_TRUE(connection.local.set_host(server.host()));
  connection.user = user;
  connection.password = server.account().password;
  return connection;
}

}  // namespace

Session::Session(const test_servers::RealServer& server, const std::string& user, bool passive, StrayReplies* strays,
                 int firstByteLimit)
    : controller_(connectionTo(server, user), &client_, dispatcher, firstByteLimit, nullptr),
      passive_(passive),
      strays_(strays) {}

void Session::logIn() {
  ASSERT_TRUE(controller_.start());
  ASSERT_EQ(client_.next(), "onConnected");
}

void Session::logOut() {
  ASSERT_TRUE(controller_.sendLogout());
  ASSERT_EQ(client_.next(), "onDisconnected");
}

std::string Session::directory() {
  const std::string head = "onPwd: ";
  EXPECT_TRUE(controller_.getPwd());
  const auto event = client_.next();
  EXPECT_THAT(event, StartsWith(head));
  return event.substr(std::min(head.size(), event.size()));
}

void Session::enter(const std::string& directory) {
  ASSERT_TRUE(controller_.changeCwd(directory));
  ASSERT_THAT(client_.next(), StartsWith("onCwd: "));
}

void Session::expectFile(const std::string& name, const std::string& content) {
  ASSERT_TRUE(controller_.getFile(name, passive_));
  expectContent(name, content);
}

void Session::expectContent(const std::string& name, const std::string& content) {
  ASSERT_THAT(client_.next(), StartsWith("onRetrieve " + name + ": "));
  // Not EXPECT_EQ: megabytes would be printed.
  ASSERT_TRUE(client_.takeContent() == content) << name << " differs";
  ASSERT_TRUE(strays_ == nullptr || content.empty() || strays_->take()) << "no second reply to " << name;
}

WithServer::~WithServer() {
  if (!server_) return;
  strays_.reset();
  log_.reset();
  dispatcher_.reset();
  EXPECT_EQ(testing_support::heldInTheEnd(heldBefore_), heldBefore_);
}

void WithServer::startServer(const test_servers::ServerKind& kind, bool straysAfterFiles) {
  if (!kind.startable()) GTEST_SKIP() << "only root can start " << kind.name;
  makeDirectory("pub");
  server_ = kind.make(root_.path());
  heldBefore_ = testing_support::heldAtRest();
  log_.emplace();
  if (straysAfterFiles) strays_.emplace();
  dispatcher_.emplace(dispatcher, workers);
}

std::unique_ptr<Session> WithServer::makeSession(bool passive, int firstByteLimit) {
  return std::make_unique<Session>(*server_, server_->account().user, passive, strays_ ? &*strays_ : nullptr,
                                   firstByteLimit);
}

void WithServer::put(const std::string& name, const std::string& content) const {
  const auto path = root_.path() / name;
  std::ofstream(path, std::ios::binary) << content;
  std::filesystem::permissions(path, std::filesystem::perms(0644));
}

void WithServer::link(const std::string& name, const std::string& further) const {
  std::filesystem::create_hard_link(root_.path() / name, root_.path() / further);
}

void WithServer::makeDirectory(const std::string& name) const {
  const auto path = root_.path() / name;
  std::filesystem::create_directory(path);
  std::filesystem::permissions(path, std::filesystem::perms(0755));
}

}  // namespace real_servers
