#include <string>

#include "hostile_session.h"

namespace tovik::ftp {
namespace {

using ::testing::ElementsAre;

// More than the kernels' buffers at both ends take.
constexpr long tooMuch = 16 * mebibyte;

/// A server that has stopped reading: what the client sends is never taken.
class DeafServer : public HostileInMode {
 protected:
  DeafServer() {
    logNothing();
    server.login();
  }

  /// A transfer whose command does not drain.
  void getsStuck() {
    GetParam() == passiveMode ? server.passive() : server.active();
    onceLoggedIn([this] { EXPECT_TRUE(controller->getFile(std::string(tooMuch, 'n'), GetParam())); });
    server.data("half");
    server.until([this] { return testing_support::eventually([this] { return isAwaited(pending_e::retr); }); },
                 "RETR is sent");
    ASSERT_TRUE(server.played());
  }

  bool isAwaited(pending_e command) {
    bool awaited = false;
    onWorker([&] { awaited = controller->interpreter.pending == command; });
    return awaited;
  }
};

TEST_P(DeafServer, DoesNotPreventTheSessionFromStopping) {
  getsStuck();
  EXPECT_TRUE(controller->stop());
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onDisconnected"));
}

TEST_P(DeafServer, DoesNotPreventTheControllersDestruction) {
  controller.reset();
  const Growth growth;
  controller = make();
  getsStuck();
  if (testing_support::heapIsOurs()) {
    EXPECT_GT(growth.bytes(), tooMuch / 4);
  }
  destroyController();
  EXPECT_TRUE(testing_support::eventually([&] { return growth.bytes() < workersOwn; })) << growth.bytes();
}

TEST_P(DeafServer, IsStillListenedTo) {
  getsStuck();
  server.reply("150 Here").data("and whole").closeData().reply("226 Done");
  ASSERT_TRUE(client.waits("onRetrieve")) << server.played();
  EXPECT_TRUE(client.lines().back().ends_with(" | Done | halfand whole"));
}

IN_BOTH_MODES(DeafServer);

/// It answers at once, each time, a client that sends a command for each answer.
class DeafServerThatAnswers : public HostileSession {
 protected:
  static constexpr long answers = 8000;
  const std::string name = std::string(4096, 'n');
};

TEST_F(DeafServerThatAnswers, CostsWhatTheClientSendsAndNoMore) {
  logNothing();
  server.login().onControl("answers", pours("250 Done\r\n", answers));
  client.whenever("onCwd", [this] { EXPECT_TRUE(controller->changeCwd(name)); });
  const Growth growth;
  onceLoggedIn([this] { EXPECT_TRUE(controller->changeCwd(name)); });
  ASSERT_TRUE(client.waits("onCwd", answers)) << server.played();
  const auto sent = answers * static_cast<long>(name.size() + sizeof "CWD \r\n");
  EXPECT_LT(growth.highestBytes(), sent + sent / 8 + 4 * mebibyte);
  EXPECT_TRUE(controller->stop());
  EXPECT_TRUE(testing_support::eventually([&] { return growth.bytes() < 4 * mebibyte; })) << growth.bytes();
}

}  // namespace
}  // namespace tovik::ftp
