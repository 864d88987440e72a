#include <algorithm>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>

#include "session_fixture.h"

namespace tovik::ftp {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using testing_support::LoopbackSocket;

/// Sessions that are ended from this side, or by an exception of the client's.
class EndSession : public Session {
 protected:
  /// A retrieval of which the first half has come, in some mode.
  void halfWay(bool mode) {
    server.login();
    (mode == passiveMode ? server.passive() : server.active()).expect("RETR file").reply("150 Here").data("half");
    onceLoggedIn([this, mode] { EXPECT_TRUE(controller->getFile("file", mode)); });
    ASSERT_TRUE(server.played());
    ASSERT_TRUE(log.waitFor("Tovik: data connection up"));
  }

  void expectOnlyTheEnd() {
    EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onDisconnected"));
    server.expectClose();
    EXPECT_TRUE(server.played());
  }
};

TEST_F(EndSession, IsStoppedByAnotherThreadDuringATransfer) {
  for (const bool mode : {passiveMode, activeMode}) {
    halfWay(mode);
    EXPECT_TRUE(controller->stop());
    EXPECT_EQ(client.callsOf("onDisconnected"), disconnections) << "reported before stop returns";
    EXPECT_EQ(client.callsOf("onRetrieve") + client.callsOf("onRetrieveFailed"), 0);
    server.closeData().expectClose();
    ASSERT_TRUE(server.played());
    controller = make();
  }
}

TEST_F(EndSession, IsDestroyedByAnotherThreadDuringAPassiveTransfer) {
  halfWay(passiveMode);
  controller.reset();
  expectOnlyTheEnd();
}

TEST_F(EndSession, IsDestroyedByAnotherThreadDuringAnActiveTransfer) {
  halfWay(activeMode);
  controller.reset();
  expectOnlyTheEnd();
}

TEST_F(EndSession, IsDestroyedByAnotherThreadWhileACallbackStartsATransfer) {
  std::promise<void> inside;
  server.login();
  onceLoggedIn([&] {
    inside.set_value();
    for (int i = 0; i < 20; ++i) {
      EXPECT_TRUE(controller->getNlst(i % 2 == 0));
      controller->command = Controller::cmd_e::none;
    }
  });
  ASSERT_EQ(inside.get_future().wait_for(testing_support::deadline), std::future_status::ready);
  delete controller.get();  // not reset: the callback still reads the pointer
  static_cast<void>(controller.release());
  EXPECT_EQ(client.callsOf("onDisconnected"), 1);
}

TEST_F(EndSession, IsStoppedBeforeItsConnectionIsMade) {
  server.accept();
  start();
  EXPECT_TRUE(controller->stop());
  EXPECT_EQ(client.callsOf("onDisconnected"), 1);
}

TEST_F(EndSession, IsStoppedWithoutEverHavingStarted) {
  EXPECT_TRUE(controller->stop());
  EXPECT_TRUE(controller->stop());
  EXPECT_THAT(client.lines(), ::testing::IsEmpty());
}

TEST_F(EndSession, MayStartAgainAfterStop) {
  server.login();
  start();
  ASSERT_TRUE(client.waits("onConnected"));
  EXPECT_TRUE(controller->stop());
  server.login().expect("PWD").reply("257 \"/\"");
  onceLoggedIn([&] { EXPECT_TRUE(controller->getPwd()); });
  ASSERT_TRUE(client.waits("onPwd"));
}

TEST_F(EndSession, IsReportedOncePerConnection) {
  server.login().accept().reply("220 Ready");
  start();
  ASSERT_TRUE(client.waits("onConnected"));
  start();
  ASSERT_TRUE(log.waitFor("Tovik: protocol interpreter: bad pending command 0 while up"));
  EXPECT_TRUE(controller->stop());
  EXPECT_EQ(client.callsOf("onDisconnected"), 2);
}

TEST_F(EndSession, MayDestroyItsControllerWhenStopReportsTheEnd) {
  server.login();
  start();
  ASSERT_TRUE(client.waits("onConnected"));
  client.whenever("onDisconnected", [&] { controller.reset(); });
  Controller* const stopped = controller.get();
  EXPECT_TRUE(stopped->stop());
  EXPECT_EQ(controller, nullptr);
  EXPECT_EQ(client.callsOf("onDisconnected"), 1);
}

TEST_F(EndSession, ReplacesTheConnectorInsideItsOwnChannelDownHandler) {
  server.login().passive().expect("NLST").reply("226 Done");
  serverAfter("Tovik: [FTP] 226 \"Done\" ").data("a").closeData();
  server.passive().expect("NLST").reply("226 Again").data("b").closeData();
  const void* first = nullptr;
  client.whenever("onNlst", [&] {
    if (first != nullptr) return;
    first = controller->dataConnector;
    EXPECT_TRUE(controller->getNlst(passiveMode));
    EXPECT_NE(controller->dataConnector, first) << "the first is still in its handler";
  });
  onceLoggedIn([&] { EXPECT_TRUE(controller->getNlst(passiveMode)); });
  ASSERT_TRUE(client.waits("onNlst", 2)) << server.played();
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onNlst a | Done", "onNlst b | Again"));
}

TEST_F(EndSession, LogsNothingAfterItsControllerWasDestroyedInOnNlst) {
  server.login().passive().expect("NLST").reply("226 Done");
  serverAfter("Tovik: [FTP] 226 \"Done\" ").data("a").closeData().expectClose();
  client.whenever("onNlst", [&] { controller.reset(); });
  onceLoggedIn([&] { EXPECT_TRUE(controller->getNlst(passiveMode)); });
  ASSERT_TRUE(client.waits("onNlst")) << server.played();
  controller = make();
  onWorker([] {});  // the handler that the callback came from has returned
  EXPECT_EQ(log.count("Tovik: onDataDown"), 0);
}

TEST_F(EndSession, EndsEveryConnectionWhenTheClientThrowsOnAReply) {
  server.login().expect("PWD").reply("257 \"/\"").expectClose();
  client.whenever("onPwd", [] { throw std::runtime_error("too much"); });
  onceLoggedIn([&] { EXPECT_TRUE(controller->getPwd()); });
  ASSERT_TRUE(server.played());
  ASSERT_TRUE(client.waits("onDisconnected"));
  EXPECT_THAT(log.texts(30), Contains(HasSubstr("too much")));
}

// The reader's state was that of the old connection: the greeting of the new one was no greeting to it.
TEST_F(EndSession, StartsAgainAfterTheClientHasThrown) {
  server.login().expect("PWD").reply("257 \"/\"").expectClose().login();
  client.whenever("onPwd", [] { throw std::runtime_error("too much"); });
  onceLoggedIn([&] { EXPECT_TRUE(controller->getPwd()); });
  ASSERT_TRUE(client.waits("onDisconnected"));
  EXPECT_TRUE(controller->start());
  disconnections = 2;
  EXPECT_TRUE(client.waits("onConnected", 2));
}

TEST_F(EndSession, EndsEveryConnectionWhenTheClientThrowsOnData) {
  server.login().passive().expect("NLST").reply("226 Done");
  serverAfter("Tovik: [FTP] 226 \"Done\" ").data("a").closeData().expectClose();
  client.whenever("onNlst", [] { throw std::runtime_error("too much"); });
  onceLoggedIn([&] { EXPECT_TRUE(controller->getNlst(passiveMode)); });
  ASSERT_TRUE(client.waits("onDisconnected"));
  EXPECT_THAT(log.texts(30), Contains(HasSubstr("too much")));
  EXPECT_EQ(client.callsOf("onNlst"), 1);
}

TEST_F(EndSession, ContinuesBesideASessionWhoseClientThrows) {
  RecordingClient other;
  ScriptedServer otherServer;
  connection_data_t data = connection();
  data.server = otherServer.address();
  Controller beside(data, &other, dispatcher.name(), 0, nullptr);
  otherServer.login();
  EXPECT_TRUE(beside.start());
  ASSERT_TRUE(other.waits("onConnected"));

  server.login().expectClose();
  onceLoggedIn([] { throw std::runtime_error("too much"); });
  ASSERT_TRUE(server.played());

  otherServer.expect("PWD").reply("257 \"/\"");
  EXPECT_TRUE(beside.getPwd());
  EXPECT_TRUE(other.waits("onPwd"));
  EXPECT_TRUE(otherServer.played());
}

/// A client that starts an active transfer in onDisconnected. If that makes a listener, a peer connects to it and sends
/// a byte; the command may also be refused.
class TransferStartedInOnDisconnected : public EndSession {
 protected:
  void SetUp() override {
    client.whenever("onDisconnected", [this] {
      static_cast<void>(ending->getFile("late", activeMode));
      const DataConnector* const connector = ending->dataConnector;
      if (connector != nullptr && connector->server != nullptr) connectTo(connector->server->address());
    });
  }
  void TearDown() override {
    EXPECT_EQ(client.callsOf("onRetrieve") + client.callsOf("onRetrieveFailed"), 0);
    EXPECT_EQ(client.lines().back(), "onDisconnected");
    expectNoPeer();
    EndSession::TearDown();
  }

  /// Logs in; the client looks at this controller in onDisconnected.
  void begin() {
    server.login();
    ending = controller.get();
    start();
    ASSERT_TRUE(client.waits("onConnected", disconnections));
  }
  void expectNoPeer() {
    if (peer.isOpen()) {
      EXPECT_EQ(peer.receive(), "");
    }
    peer.close();
  }

  Controller* ending = controller.get();

 private:
  void connectTo(Address listener) {
    EXPECT_TRUE(listener.set_host("127.0.0.1"));
    peer = LoopbackSocket::connected(listener);
    peer.send("x");
  }

  LoopbackSocket peer;
};

// Over and over, since the worker may accept the peer while the destructor goes on.
TEST_F(TransferStartedInOnDisconnected, HasNoEffectWhenTheControllerIsDestroyedByAnotherThread) {
  for (int round = 0; round < 50; ++round) {
    controller = make();
    begin();
    controller.reset();
    expectNoPeer();
    server.expectClose();
  }
}

TEST_F(TransferStartedInOnDisconnected, HasNoEffectWhenTheControllerIsDestroyedInsideACallback) {
  server.login();
  onceLoggedIn([this] { controller.reset(); });
  ASSERT_TRUE(client.waits("onConnected"));
}

TEST_F(TransferStartedInOnDisconnected, HasNoEffectWhenTheControllerIsDestroyedBeforeTheLogin) {
  server.accept();
  start();
  ASSERT_TRUE(server.played());
  controller.reset();
}

TEST_F(TransferStartedInOnDisconnected, HasNoEffectWhenTheControllerIsDestroyedDuringAnotherTransfer) {
  halfWay(activeMode);
  controller.reset();
}

/// A client that starts the next of many transfers inside the callback of the last.
class ManyTransfers : public Session, public ::testing::WithParamInterface<bool> {
 protected:
  static constexpr int transfers = 300;

  void serveAll() {
    server.login();
    for (int i = 0; i < transfers; ++i)
      (GetParam() == passiveMode ? server.passive() : server.active())
          .expect("RETR file")
          .reply("150 Here")
          .data("x")
          .closeData()
          .reply("226 Done");
  }
};

TEST_P(ManyTransfers, HoldNoMoreDescriptorsThanOneDoes) {
  long most = 0;
  int left = transfers;
  const auto next = [&] {
    most = std::max(most, testing_support::heldNow().descriptors);
    if (left-- > 0) {
      EXPECT_TRUE(controller->getFile("file", GetParam()));
    }
  };
  const long before = testing_support::heldNow().descriptors;
  client.whenever("onRetrieve", next);
  serveAll();
  onceLoggedIn(next);
  ASSERT_TRUE(client.waits("onRetrieve", transfers)) << server.played();
  // Both ends of the control connection and of two data connections, both listeners and their wake-ups.
  EXPECT_LE(most, before + 12);
  EXPECT_EQ(client.callsOf("onRetrieve"), transfers);
}

INSTANTIATE_TEST_SUITE_P(InEachMode, ManyTransfers, ::testing::Values(passiveMode, activeMode),
                         [](const auto& mode) { return mode.param ? "Passive" : "Active"; });

}  // namespace
}  // namespace tovik::ftp
