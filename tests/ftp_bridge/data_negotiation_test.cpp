#include <tovik/dispatch_store.h>
#include <tovik/factory.h>
#include <tovik/socket.h>

#include <string>
#include <utility>
#include <vector>

#include "controller_fixture.h"
#include "support/loopback_socket.h"

namespace tovik::ftp {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing_support::FakeChannel;
using testing_support::LoopbackSocket;

class Negotiation : public ControllerFixture {
 protected:
  Negotiation() {
    loggedIn();
    forget();
  }

  /// The address that PORT announces.
  Address announced() const {
    Address address(0);
    EXPECT_EQ(channel.sent().size(), 1U);
    const std::string& line = channel.sent().at(0);
    EXPECT_TRUE(line.starts_with("PORT ") && line.ends_with("\r\n")) << line;
    EXPECT_TRUE(ProtocolInterpreter::convertAddr(line.substr(5, line.size() - 7), address));
    return address;
  }
};

TEST_F(Negotiation, AnnouncesTheInterfaceAndTheListenersPort) {
  ASSERT_TRUE(controller->connection.local.set_host("127.0.0.2"));
  controller->connection.local.extract_addr(&controller->localAddr);
  EXPECT_TRUE(controller->getNlst(false));
  EXPECT_EQ(interpreter().pending, pending_e::port);
  EXPECT_FALSE(controller->passive);
  const Address address = announced();
  EXPECT_NE(address.port(), 0);
  EXPECT_EQ(address.printInet(), "127.0.0.2:" + std::to_string(address.port()));
  EXPECT_TRUE(LoopbackSocket::connected(address).isOpen());
}

TEST_F(Negotiation, AsksForAnAddressInPassiveModeAndNothingMore) {
  EXPECT_TRUE(controller->getFile("file", true));
  EXPECT_EQ(interpreter().pending, pending_e::passive);
  EXPECT_TRUE(controller->passive);
  EXPECT_NE(controller->dataConnector, nullptr);
  EXPECT_THAT(channel.sent(), ElementsAre("PASV\r\n"));
}

TEST_F(Negotiation, SendsTheTransferCommandAfterThePositiveReplyToPort) {
  EXPECT_TRUE(controller->getNlst(false));
  forget();
  serverSends("200 Fine");
  EXPECT_THAT(channel.sent(), ElementsAre("NLST\r\n"));
  EXPECT_EQ(interpreter().pending, pending_e::nlst);
  EXPECT_EQ(controller->replyText, "") << "the reply to PORT is not kept";
}

TEST_F(Negotiation, SendsTheFileNameExactlyAsGiven) {
  EXPECT_TRUE(controller->getFile(" a b ", false));
  forget();
  serverSends("200 Fine");
  EXPECT_THAT(channel.sent(), ElementsAre("RETR  a b \r\n"));
  EXPECT_EQ(interpreter().pending, pending_e::retr);
}

TEST_F(Negotiation, SendsNothingWhenTheDataConnectionIsUpInActiveMode) {
  EXPECT_TRUE(controller->getNlst(false));
  forget();
  controller->onDataUp();
  EXPECT_THAT(channel.sent(), IsEmpty());
  EXPECT_THAT(logged(), ElementsAre("Tovik: data connection up"));
  EXPECT_EQ(records().at(0).level, 0);
}

TEST_F(Negotiation, SendsTheTransferCommandWhenTheDataConnectionIsUpInPassiveMode) {
  EXPECT_TRUE(controller->getFile("file", true));
  forget();
  controller->onDataUp();
  EXPECT_THAT(channel.sent(), ElementsAre("RETR file\r\n"));
  EXPECT_EQ(interpreter().pending, pending_e::retr);
  EXPECT_THAT(logged(), ElementsAre("Tovik: data connection up", "Tovik: [FTP] RETR file"));
}

TEST_F(Negotiation, SendsNothingBeforeThePassiveDataConnectionIsUp) {
  const LoopbackSocket listener = LoopbackSocket::listening();
  EXPECT_TRUE(controller->getNlst(true));
  forget();
  // Called from the worker, so that the connection can't be up before the look.
  controller->transport->call([&] {
    controller->onPassiveSuccess(listener.address());
    EXPECT_THAT(channel.sent(), IsEmpty());
  });
  EXPECT_THAT(logged(), ::testing::Contains("Tovik: initiating passive connection to " +
                                            listener.address().printInet() + " on interface 127.0.0.1:0"));
  EXPECT_TRUE(log.waitFor("Tovik: [FTP] NLST"));
  EXPECT_TRUE(controller->stop());
}

TEST_F(Negotiation, SendsNoTransferCommandForOtherCommands) {
  interpreter().pending = pending_e::user;
  for (const cmd_e command : {cmd_e::none, cmd_e::pwd, cmd_e::cwd, cmd_e::cdup, cmd_e::quit}) {
    controller->command = command;
    controller->processDataConnection();
    EXPECT_EQ(controller->command, command);
  }
  EXPECT_THAT(channel.sent(), IsEmpty());
  EXPECT_THAT(logged(), IsEmpty());
  EXPECT_EQ(interpreter().pending, pending_e::user);
}

TEST_F(Negotiation, ReportsARefusedPortAndIsIdle) {
  EXPECT_TRUE(controller->getFile("file", false));
  serverSends("500 No PORT");
  EXPECT_THAT(client.lines(), ElementsAre("onRetrieveFailed file | No PORT"));
  EXPECT_EQ(controller->command, cmd_e::none);
  EXPECT_EQ(interpreter().pending, pending_e::none);
  EXPECT_NE(controller->dataConnector, nullptr) << "the next transfer replaces it";
  EXPECT_EQ(channel.bringDowns(), 0);
}

TEST_F(Negotiation, ReportsARefusedPasvAndIsIdle) {
  EXPECT_TRUE(controller->getNlst(true));
  serverSends("503 No PASV");
  EXPECT_THAT(client.lines(), ElementsAre("onNlstFailed No PASV"));
  EXPECT_EQ(controller->command, cmd_e::none);
}

TEST_F(Negotiation, LogsTheEndOfTheDataConnectionAndReportsNothingForIt) {
  EXPECT_TRUE(controller->getNlst(true));
  controller->replyReceived = true;
  forget();
  controller->onDataDown();
  EXPECT_THAT(logged(), ElementsAre("Tovik: onDataDown"));
  EXPECT_EQ(records().at(0).level, 0);
  EXPECT_THAT(client.lines(), IsEmpty());
  EXPECT_EQ(controller->command, cmd_e::nlst);
}

/// Notes, at its own end, what had been sent by then.
class Witness : public DataConnector {
 public:
  Witness(Controller& owner, const FakeChannel& watched, std::vector<std::string>& sentBefore)
      : DataConnector(owner), watched_(watched), sentBefore_(sentBefore) {}
  ~Witness() override {
    sentBefore_.emplace_back("the last connector went");
    for (const auto& line : watched_.sent()) sentBefore_.push_back(line);
  }

 private:
  const FakeChannel& watched_;
  std::vector<std::string>& sentBefore_;
};

TEST_F(Negotiation, DestroysTheLastConnectorAndItsDataBeforeAnythingIsSent) {
  std::vector<std::string> effects;
  controller->dataConnector = new Witness(*controller, channel, effects);
  controller->received = new std::string("left over");
  controller->command = cmd_e::nlst;
  controller->startDataConnection(true);
  EXPECT_THAT(effects, ElementsAre("the last connector went"));
  EXPECT_EQ(controller->received, nullptr);
  EXPECT_NE(controller->dataConnector, nullptr);
  EXPECT_THAT(channel.sent(), ElementsAre("PASV\r\n"));
}

/// Has no socket for anybody, until there are some.
class Scarcity : public Factory {
 public:
  Result makeSocket(Protocol protocol, Socket& socket) override {
    return over ? socket.open(protocol) : failure("no socket left");
  }
  bool over = false;
};

/// Negotiations on a transport that has no sockets.
class ScarceNegotiation : public Negotiation {
 protected:
  ScarceNegotiation() {
    delete std::exchange(controller->transport,
                         new Transport(DispatchStore::inst().fetch(dispatcher.name()), Traits(), nullptr, &scarcity,
                                       std::tr1::function<void(WorkerThread*)>(), ""));
  }
  ~ScarceNegotiation() override { end(); }  // before the factory is gone

  Scarcity scarcity;
};

TEST_F(ScarceNegotiation, ReportsFromInsideTheCallThatItCannotListenAndSucceeds) {
  bool inside = true;
  client.whenever("onRetrieveFailed", [&] { EXPECT_TRUE(inside); });
  const Result result = controller->getFile("file", false);
  inside = false;
  EXPECT_TRUE(result);
  EXPECT_EQ(result.message, "");
  EXPECT_THAT(client.lines(), ElementsAre("onRetrieveFailed file | no socket left"));
  EXPECT_THAT(channel.sent(), IsEmpty());
  EXPECT_EQ(controller->command, cmd_e::none);
}

TEST_F(ScarceNegotiation, ReportsAListingThatItCannotListenFor) {
  EXPECT_TRUE(controller->getNlst(false));
  EXPECT_THAT(client.lines(), ElementsAre("onNlstFailed no socket left"));
  scarcity.over = true;
  EXPECT_TRUE(controller->getNlst(false));
  EXPECT_EQ(channel.sent().size(), 1U) << "the next one may succeed";
}

TEST_F(ScarceNegotiation, ReportsAPassiveConnectionThatCannotBeStarted) {
  EXPECT_TRUE(controller->getFile("file", true));
  serverSends("227 (127,0,0,1,4,1)");
  EXPECT_THAT(client.lines(), ElementsAre("onRetrieveFailed file | no socket left"));
  EXPECT_EQ(controller->command, cmd_e::none);
  EXPECT_EQ(channel.bringDowns(), 0);
}

TEST_F(ScarceNegotiation, MayTryAgainInsideTheReportThatItCannotListen) {
  client.whenever("onNlstFailed", [&] {
    scarcity.over = true;
    EXPECT_TRUE(controller->getFile("file", false));
  });
  EXPECT_TRUE(controller->getNlst(false));
  EXPECT_EQ(controller->command, cmd_e::retr);
  EXPECT_EQ(announced().printInet().substr(0, 10), "127.0.0.1:");
}

TEST_F(ScarceNegotiation, MayDestroyTheControllerInsideTheReportThatItCannotListen) {
  client.whenever("onNlstFailed", [&] { controller.reset(); });
  EXPECT_TRUE(controller->getNlst(false));
  EXPECT_EQ(controller, nullptr);
}

TEST_F(ScarceNegotiation, MayDestroyTheControllerInsideTheReportThatItCannotConnect) {
  client.whenever("onNlstFailed", [&] { controller.reset(); });
  EXPECT_TRUE(controller->getNlst(true));
  serverSends("227 (127,0,0,1,4,1)");
  EXPECT_EQ(controller, nullptr);
}

}  // namespace
}  // namespace tovik::ftp
