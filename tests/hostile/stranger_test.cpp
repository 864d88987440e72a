#include <deque>
#include <string>

#include "hostile_session.h"

namespace tovik::ftp {
namespace {

using ::testing::ElementsAre;
using testing_support::heldNow;
using testing_support::LoopbackSocket;

const std::string dataUp = "Tovik: data connection up";
const std::string dataEnded = "Tovik: onDataDown";

/// Connections to the listener of an active-mode transfer that are not the one it waits for. Whoever connects is
/// served: what they send, and when they end, counts like the server's own.
class Strangers : public HostileSession {
 protected:
  /// Returns when the listener waits and the server has read the command.
  void listens() {
    server.login();
    negotiate(activeMode).reply("150 Here");
    retrieves(activeMode);
    ASSERT_TRUE(server.played());
    ASSERT_TRUE(ProtocolInterpreter::convertAddr(server.port(), listener));
  }

  /// Stays connected, unless the test ends it, until the session has gone.
  LoopbackSocket& stranger() { return strangers.emplace_back(LoopbackSocket::connected(listener)); }

  /// Waits until that much has been received, on all connections of the transfer.
  bool hasReceived(std::size_t bytes) {
    return testing_support::eventually([&] {
      std::size_t received = 0;
      onWorker([&] {
        const std::string* const data = controller->dataConnector->received;
        received = data != nullptr ? data->size() : 0;
      });
      return received >= bytes;
    });
  }

  void retrieved(const std::string& content) {
    ASSERT_TRUE(client.waits("onRetrieve")) << server.played();
    EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onRetrieve file | Done | " + content));
  }

  Address listener{0};
  std::deque<LoopbackSocket> strangers;
};

TEST_F(Strangers, ChangeNothingWhileTheyAreSilentAndStay) {
  listens();
  stranger();
  stranger();
  ASSERT_TRUE(log.waitFor(dataUp, 2));
  server.data("whole").closeData();
  serverAfter(dataEnded).reply("226 Done");
  retrieved("whole");
}

TEST_F(Strangers, LoseTheirConnectionWhenTheNextTransferBegins) {
  client.whenever("onRetrieve", [this] { EXPECT_TRUE(controller->getNlst(activeMode)); });
  listens();
  const LoopbackSocket& second = stranger();
  const LoopbackSocket& third = stranger();
  ASSERT_TRUE(log.waitFor(dataUp, 2));
  server.data("whole").closeData();
  serverAfter(dataEnded).reply("226 Done").active().expect("NLST").data("a").closeData().reply("226 Listed");
  ASSERT_TRUE(client.waits("onNlst")) << server.played();
  EXPECT_EQ(second.receive(), "");
  EXPECT_EQ(third.receive(), "");
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onRetrieve file | Done | whole", "onNlst a | Listed"));
}

TEST_F(Strangers, AddWhatTheySendToTheFile) {
  listens();
  LoopbackSocket& second = stranger();
  second.send("evil");
  ASSERT_TRUE(hasReceived(4));
  server.data("whole");
  ASSERT_TRUE(hasReceived(9));
  server.closeData();
  serverAfter(dataEnded).reply("226 Done");
  retrieved("evilwhole");
}

TEST_F(Strangers, AreTakenForTheServerWhenTheyHaveEndedByTheFinalReply) {
  listens();
  LoopbackSocket& second = stranger();
  second.send("evil");
  second.close();
  serverAfter(dataEnded).reply("226 Done");
  retrieved("evil");
  server.data("whole").closeData();
  ASSERT_TRUE(log.waitFor(dataEnded, 2));
  EXPECT_EQ(client.callsOf("onRetrieve"), 1);
}

TEST_F(Strangers, EmptyTheFileWhenTheyEndAfterTheServersConnectionAndBeforeTheFinalReply) {
  listens();
  server.data("whole").closeData();
  ASSERT_TRUE(log.waitFor(dataEnded));
  stranger().close();
  ASSERT_TRUE(log.waitFor(dataEnded, 2));
  server.reply("226 Done");
  retrieved("");
}

TEST_F(Strangers, AreForgottenWhenTheServersConnectionEndsAfterTheirsAndBeforeTheFinalReply) {
  listens();
  LoopbackSocket& second = stranger();
  second.send("evil");
  second.close();
  ASSERT_TRUE(log.waitFor(dataEnded));
  server.data("whole").closeData();
  ASSERT_TRUE(log.waitFor(dataEnded, 2));
  server.reply("226 Done");
  retrieved("whole");
}

// Each left its channel until the next transfer.
TEST_F(Strangers, CostNoMemoryOnceTheyHaveLeft) {
  listens();
  logNothing();
  unsigned long long gone = 0;
  const auto comeAndLeave = [&](int count) {
    for (int i = 0; i < count; ++i) {
      LoopbackSocket::connected(listener).close();
      ++gone;
      ASSERT_TRUE(testing_support::eventually([&] { return controller->statistics().ended_by_peer == gone; }));
    }
    onWorker([] {});
  };
  comeAndLeave(10);
  const Growth growth;
  comeAndLeave(1000);
  EXPECT_LT(growth.bytes(), 4096);
  server.data("whole").closeData().reply("226 Done");
  EXPECT_TRUE(client.waits("onRetrieve")) << server.played();
}

TEST_F(Strangers, LeaveNothingWhenTheyResetTheirConnectionsAtOnce) {
  constexpr long flood = 300;
  listens();
  for (long i = 0; i < flood; ++i) stranger().reset();
  ASSERT_TRUE(log.waitFor(dataEnded, flood));
  server.data("whole").closeData();
  ASSERT_TRUE(log.waitFor(dataEnded, flood + 1));
  server.reply("226 Done");
  retrieved("whole");
}

TEST_F(Strangers, LeaveNothingWhenTheyResetTheirConnectionsAfterSending) {
  constexpr long flood = 100;
  listens();
  for (long i = 0; i < flood; ++i) {
    LoopbackSocket& next = stranger();
    next.send("evil");
    next.reset();
  }
  ASSERT_TRUE(log.waitFor(dataEnded, flood));
  server.data("whole").closeData();
  ASSERT_TRUE(log.waitFor(dataEnded, flood + 1));
  server.reply("226 Done");
  // A connection's end hands over all that has come since the end before it.
  ASSERT_TRUE(client.waits("onRetrieve")) << server.played();
  EXPECT_EQ(client.lines().back(), "onRetrieve file | Done | whole");
}

TEST_F(Strangers, KeepADescriptorEachUntilTheSessionEndsThem) {
  constexpr long flood = 200;
  listens();
  const long before = heldNow().descriptors;
  for (long i = 0; i < flood; ++i) stranger();
  ASSERT_TRUE(log.waitFor(dataUp, flood));
  EXPECT_EQ(heldNow().descriptors, before + 2 * flood);
  EXPECT_TRUE(controller->stop());
  EXPECT_TRUE(testing_support::eventually([&] { return heldNow().descriptors <= before + flood; }));
  for (const auto& each : strangers) EXPECT_EQ(each.receive(), "");
}

TEST_F(Strangers, FindNoListenerOnceTheSessionHasStopped) {
  listens();
  EXPECT_TRUE(controller->stop());
  EXPECT_THROW(stranger(), std::runtime_error);
}

}  // namespace
}  // namespace tovik::ftp
