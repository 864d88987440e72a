// What doesn't depend on the data connection's mode: login, directories, logout.

#include "session_rig.h"

namespace real_servers {
namespace {

using testing::StartsWith;

class Login : public WithServer, public testing::WithParamInterface<Peer> {
 protected:
  void SetUp() override { startServer(GetParam().kind, GetParam().straysAfterFiles); }
  std::string below(const std::string& directory, const std::string& name) const {
    return directory + (directory == "/" ? "" : "/") + name;
  }
};

INSTANTIATE_TEST_SUITE_P(Servers, Login, testing::ValuesIn(peers()),
                         [](const auto& peer) { return peer.param.kind.name; });

TEST_P(Login, SucceedsAndLogsOut) {
  const auto session = makeSession(true);
  session->logIn();
  session->logOut();
}

// A refused login is not reported, only logged, and the host ends the session.
TEST_P(Login, IsRefusedToAStranger) {
  Session session(server(), "nobody", true, nullptr);
  ASSERT_TRUE(session.controller().start());
  ASSERT_TRUE(log().waitFor("Tovik: [FTP] 530 \"" + GetParam().refusedLogin + "\" "));
  EXPECT_TRUE(session.controller().stop());
  EXPECT_EQ(session.client().next(), "onDisconnected");
}

TEST_P(Login, ChangesTheDirectoryThereAndBack) {
  const auto session = makeSession(true);
  session->logIn();
  const auto top = session->directory();
  session->enter("pub");
  EXPECT_EQ(session->directory(), below(top, "pub"));
  session->enter("..");
  EXPECT_EQ(session->directory(), top);
  session->logOut();
}

TEST_P(Login, StaysWhereItIsWhenADirectoryIsMissing) {
  const auto session = makeSession(true);
  session->logIn();
  const auto top = session->directory();
  ASSERT_TRUE(session->controller().changeCwd("nowhere"));
  EXPECT_THAT(session->client().next(), StartsWith("onCwdFailed: "));
  EXPECT_EQ(session->directory(), top);
  session->logOut();
}

// Every one of them answers CDUP with 250, which the session doesn't take for its end: it stays busy with the command.
TEST_P(Login, StaysBusyWithTheParentDirectory) {
  const auto session = makeSession(true);
  session->logIn();
  session->enter("pub");
  ASSERT_TRUE(session->controller().cdUp());
  ASSERT_TRUE(log().waitFor("Tovik: protocol interpreter: cdup: unknown reply 250"));
  EXPECT_EQ(session->controller().getPwd().message, "cdup still active");
}

}  // namespace
}  // namespace real_servers
