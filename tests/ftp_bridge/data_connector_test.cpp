#include <tovik/data_aggregator.h>

#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "controller_fixture.h"
#include "support/loopback_socket.h"

namespace tovik::ftp {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing_support::FakeChannel;
using testing_support::listeningPorts;
using testing_support::LoopbackSocket;

static_assert(std::is_base_of_v<Server, DataConnection> && sizeof(DataConnection) == sizeof(Server));

/// A data connector whose channel is a fake; the controller is listing in passive mode.
class Connector : public ControllerFixture {
 protected:
  Connector() {
    EXPECT_TRUE(controller->getNlst(true));
    forget();
  }
  ~Connector() override { end(); }  // while the data channel, which the connector brings down, is still there

  DataConnector& connector() { return *controller->dataConnector; }

  void arrives(const std::string& bytes) { connector().onData(&dataChannel, bytes.data(), bytes.size(), nullptr); }

  /// What the controller holds now.
  std::string handedOver() const { return controller->received == nullptr ? "nothing" : *controller->received; }

  void destroyConnector() { delete std::exchange(controller->dataConnector, nullptr); }

  FakeChannel dataChannel;
};

TEST_F(Connector, HasNothingAtFirst) {
  EXPECT_EQ(&connector().controller, controller.get());
  EXPECT_EQ(connector().server, nullptr);
  EXPECT_EQ(connector().channel, nullptr);
  EXPECT_EQ(connector().received, nullptr);
}

TEST_F(Connector, RemembersItsChannelAndNotifiesTheController) {
  connector().onChannelUp(&dataChannel);
  EXPECT_EQ(connector().channel, &dataChannel);
  EXPECT_THAT(logged(), ElementsAre("Tovik: data connection up", "Tovik: [FTP] NLST"));
  connector().onChannelDown(&dataChannel, 0);
  EXPECT_EQ(connector().channel, &dataChannel) << "never forgotten";
}

TEST_F(Connector, DeliversAnEmptyTextWhenNothingArrived) {
  connector().onChannelDown(&dataChannel, 0);
  EXPECT_EQ(handedOver(), "");
  EXPECT_THAT(logged(), ElementsAre("Tovik: controller 4 received 0 bytes", "Tovik: onDataDown"));
}

TEST_F(Connector, GathersAllThatArrivesInOrderAndByteForByte) {
  arrives(std::string("a\0b", 3));
  arrives("");
  arrives(std::string("\r\0\n\xff", 4));
  EXPECT_THAT(logged(), IsEmpty());
  connector().onChannelDown(&dataChannel, 0);
  EXPECT_EQ(handedOver(), std::string("a\0b\r\0\n\xff", 7));
  EXPECT_EQ(connector().received, nullptr);
}

TEST_F(Connector, DeliversANewEmptyTextWhenItsChannelGoesDownAgain) {
  arrives("a");
  connector().onChannelDown(&dataChannel, 0);
  EXPECT_EQ(handedOver(), "a");
  connector().onChannelDown(&dataChannel, 0);
  EXPECT_EQ(handedOver(), "");
}

// What had arrived before memory ran out would have been reported as the whole file.
TEST_F(Connector, DeliversNothingWhenAnExceptionEndedItsChannel) {
  arrives("a");
  dataChannel.cause = EndCause::exception;
  connector().onChannelDown(&dataChannel, dirFailed);
  EXPECT_EQ(handedOver(), "nothing");
  EXPECT_EQ(connector().received, nullptr);
  EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(Connector, ReleasesAChannelThatAnotherReplaces) {
  FakeChannel second;
  connector().onChannelUp(&dataChannel);
  connector().onChannelUp(&second);
  EXPECT_EQ(dataChannel.releases, 1);
  EXPECT_EQ(second.releases, 0);
  destroyConnector();
  EXPECT_EQ(second.bringDowns(), 1);
}

TEST_F(Connector, BringsDownItsChannelWhenDestroyed) {
  connector().onChannelUp(&dataChannel);
  destroyConnector();
  EXPECT_EQ(dataChannel.bringDowns(), 1);
}

TEST_F(Connector, BringsDownItsChannelAgainWhenDestroyed) {
  connector().onChannelUp(&dataChannel);
  connector().onChannelDown(&dataChannel, 0);
  EXPECT_EQ(dataChannel.bringDowns(), 0);
  destroyConnector();
  EXPECT_EQ(dataChannel.bringDowns(), 1);
}

TEST_F(Connector, FreesItsDataWithoutACallbackWhenDestroyed) {
  connector().onChannelUp(&dataChannel);
  arrives("half");
  forget();
  destroyConnector();
  EXPECT_EQ(handedOver(), "nothing");
  EXPECT_THAT(logged(), IsEmpty());
  EXPECT_THAT(client.lines(), IsEmpty());
}

TEST_F(Connector, DoesNothingAboutTheEndOfItsConduit) {
  arrives("a");
  connector().onConduitInactive(nullptr);
  EXPECT_EQ(handedOver(), "nothing");
  EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(Connector, ServesWhatItsListenerAcceptsItself) { EXPECT_EQ(connector().getConsumer(), &connector()); }

TEST_F(Connector, ReceivesBytesAsTheyCome) {
  DataAggregator* made = nullptr;
  ASSERT_TRUE(connector().getDataAggregator(&dataChannel, made));
  const std::unique_ptr<DataAggregator> owned(made);
  const auto* aggregator = dynamic_cast<SimpleAggregator*>(made);
  ASSERT_NE(aggregator, nullptr);
  EXPECT_EQ(aggregator->channel_, &dataChannel);
  EXPECT_EQ(aggregator->handler_, static_cast<DataHandler*>(&connector()));
}

TEST_F(Connector, ListensAtAPortOfTheSystemsChoice) {
  Address address(0);
  EXPECT_TRUE(connector().initActive(address));
  EXPECT_NE(address.port(), 0);
  EXPECT_EQ(connector().server->address(), address);
  EXPECT_TRUE(address.set_host("127.0.0.1"));
  EXPECT_TRUE(LoopbackSocket::connected(address).isOpen());
}

// The first port was connected to once more, and by then another process could have got it.
TEST_F(Connector, ReplacesItsListenerWhenItListensAgain) {
  Address first(0);
  Address second(0);
  EXPECT_TRUE(connector().initActive(first));
  EXPECT_THAT(listeningPorts(), ElementsAre(first.port()));
  EXPECT_TRUE(connector().initActive(second));
  EXPECT_THAT(listeningPorts(), ElementsAre(second.port()));
}

TEST_F(Connector, KeepsAListenerThatCannotListenAndPassesItsMessageOn) {
  const LoopbackSocket taken = LoopbackSocket::listening();
  Address address = taken.address();
  const Result listening = connector().initActive(address);
  EXPECT_FALSE(listening);
  EXPECT_NE(listening.message, "");
  EXPECT_EQ(address, taken.address());
  ASSERT_NE(connector().server, nullptr);
  EXPECT_EQ(listening.message, connector().server->startListening(address).message);
}

TEST_F(Connector, NamesItsListenerAndSetsNoKeepAlive) {
  const DataConnection listener(connector(), *controller->transport);
  EXPECT_EQ(listener.ApplicationBase::name_, "data_connection");
  EXPECT_FALSE(listener.keepAlive_);
  EXPECT_EQ(listener.protocol_, Protocol::tcp);
  EXPECT_EQ(listener.callback_, nullptr);
}

/// Notes what its connector does to it.
class WatchedListener : public DataConnection {
 public:
  WatchedListener(DataConnector& connector, Transport& transport, std::vector<std::string>& notes)
      : DataConnection(connector, transport), notes_(notes) {}
  ~WatchedListener() override { notes_.emplace_back("gone"); }

  Result stopListening(int limit) override {
    notes_.push_back("stopListening " + std::to_string(limit));
    return Server::stopListening(limit);
  }

 private:
  std::vector<std::string>& notes_;
};

TEST_F(Connector, StopsItsListenerBeforeItIsDestroyed) {
  std::vector<std::string> notes;
  connector().server = new WatchedListener(connector(), *controller->transport, notes);
  destroyConnector();
  EXPECT_THAT(notes, ElementsAre("stopListening -1", "gone"));
}

TEST_F(Connector, DoesNotStopAListenerThatItReplaces) {
  std::vector<std::string> notes;
  connector().server = new WatchedListener(connector(), *controller->transport, notes);
  Address address(0);
  EXPECT_TRUE(connector().initActive(address));
  EXPECT_THAT(notes, ElementsAre("gone"));
}

TEST_F(Connector, PassesOnTheFrameworksRefusalToConnect) {
  Address local(0);
  ASSERT_TRUE(local.set_host("192.0.2.1"));
  const Result connecting = connector().initPassive(someConnection().server, local);
  EXPECT_FALSE(connecting);
  EXPECT_NE(connecting.message, "");
  EXPECT_THAT(client.lines(), IsEmpty());
}

TEST_F(Connector, ConnectsFromTheLocalAddressToTheServers) {
  const LoopbackSocket listener = LoopbackSocket::listening();
  Address local(0);
  ASSERT_TRUE(local.set_host("127.0.0.3"));
  EXPECT_TRUE(connector().initPassive(listener.address(), local));
  const LoopbackSocket accepted = listener.accept();
  EXPECT_TRUE(accepted.peer().printInet().starts_with("127.0.0.3:")) << accepted.peer().printInet();
  EXPECT_TRUE(log.waitFor("Tovik: data connection up"));
  EXPECT_TRUE(controller->stop());
}

}  // namespace
}  // namespace tovik::ftp
