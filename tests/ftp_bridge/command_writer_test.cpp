#include <tovik/data_aggregator.h>
#include <tovik/socket_dir.h>

#include <memory>
#include <string>
#include <type_traits>

#include "controller_fixture.h"

namespace tovik::ftp {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing_support::FakeChannel;
using testing_support::LeakCheck;
using testing_support::ScopedDispatcher;

// The order of the bases fixes which of them the framework is handed.
static_assert(std::is_base_of_v<Consumer, ProtocolInterpreter>);
static_assert(std::is_base_of_v<TelnetPacketizer, ProtocolInterpreter>);
static_assert(std::is_base_of_v<CharHandler, ProtocolInterpreter>);

class CommandWriter : public ControllerFixture {
 protected:
  CommandWriter() { forget(); }
};

TEST(ProtocolInterpreterAtFirst, HasNoChannelNothingPendingAndIsNotLoggedIn) {
  const LeakCheck leakCheck;
  const testing_support::LogCapture log;
  const ScopedDispatcher dispatcher("ftp first");
  RecordingClient client;
  Controller controller(someConnection(), &client, dispatcher.name(), 0, nullptr);
  EXPECT_EQ(controller.interpreter.channel, nullptr);
  EXPECT_EQ(controller.interpreter.pending, pending_e::none);
  EXPECT_EQ(controller.interpreter.sessionState, 0);
  EXPECT_EQ(&controller.interpreter.controller, &controller);
  EXPECT_THAT(log.texts(), IsEmpty());
}

TEST_F(CommandWriter, SendsTheCommandAndALineEnd) {
  interpreter().sendCommand("PWD");
  EXPECT_THAT(channel.sent(), ElementsAre("PWD\r\n"));
  EXPECT_THAT(logged(), ElementsAre("Tovik: [FTP] PWD"));
}

TEST_F(CommandWriter, LogsAtLevelZero) {
  interpreter().sendCommand("PWD");
  EXPECT_EQ(log.entries().back().level, 0);
}

TEST_F(CommandWriter, SendsWithoutALogLineAboveLevelZero) {
  qk::logging::SetMinLogLevel(1);
  interpreter().sendCommand("PWD");
  EXPECT_THAT(channel.sent(), ElementsAre("PWD\r\n"));
  EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(CommandWriter, LogsAPasswordInClear) {
  interpreter().sendCommand("PASS secret");
  EXPECT_THAT(logged(), ElementsAre("Tovik: [FTP] PASS secret"));
}

TEST_F(CommandWriter, SendsAnEmptyCommandAsTheBareLineEnd) {
  interpreter().sendCommand("");
  EXPECT_THAT(channel.sent(), ElementsAre("\r\n"));
  EXPECT_THAT(logged(), ElementsAre("Tovik: [FTP] "));
}

TEST_F(CommandWriter, SendsEachCommandWholeAndInOrder) {
  const std::string longName(5000, 'x');
  interpreter().sendCommand("RETR " + longName);
  interpreter().sendCommand("PWD");
  EXPECT_THAT(channel.sent(), ElementsAre("RETR " + longName + "\r\n", "PWD\r\n"));
}

TEST_F(CommandWriter, SendsZeroBytesAndLineEndsUnchanged) {
  const std::string text("CWD a\0b\r\nDELE c", 15);
  interpreter().sendCommand(text);
  EXPECT_THAT(channel.sent(), ElementsAre(text + "\r\n"));
}

TEST_F(CommandWriter, SendsNothingBeforeAChannelCameUp) {
  interpreter().channel = nullptr;
  interpreter().sendCommand("PWD");
  EXPECT_THAT(channel.sent(), IsEmpty());
  EXPECT_THAT(logged(), ElementsAre("Tovik: [FTP] PWD"));
}

TEST_F(CommandWriter, StillUsesAChannelThatWentDown) {
  loggedIn();
  interpreter().onChannelDown(&channel, dirPeer);
  EXPECT_EQ(interpreter().sessionState, 0);
  EXPECT_EQ(interpreter().channel, &channel);
  interpreter().sendCommand("PWD");
  EXPECT_THAT(channel.sent(), ElementsAre("PWD\r\n"));
}

TEST_F(CommandWriter, UsesTheLastChannelThatCameUp) {
  FakeChannel second;
  interpreter().onChannelUp(&second);
  interpreter().sendCommand("PWD");
  EXPECT_THAT(channel.sent(), IsEmpty());
  EXPECT_THAT(second.sent(), ElementsAre("PWD\r\n"));
  EXPECT_THAT(logged(), ElementsAre("Tovik: protocol interpreter up", "Tovik: [FTP] PWD"));
}

TEST_F(CommandWriter, DoesNotNotifyTheControllerWhenAChannelComesUp) {
  interpreter().onChannelUp(&channel);
  EXPECT_THAT(client.lines(), IsEmpty());
  EXPECT_EQ(interpreter().sessionState, 0);
}

TEST_F(CommandWriter, LogsWhichSideEndedTheChannel) {
  interpreter().onChannelDown(&channel, dirPeer);
  EXPECT_THAT(logged(),
              ElementsAre(std::string("Tovik: protocol interpreter channel down ") + printSocketDir(dirPeer)));
  EXPECT_EQ(log.entries().back().level, 0);
}

TEST_F(CommandWriter, LogsTheFixedTextAloneForADirectionWithoutAName) {
  ASSERT_EQ(printSocketDir(77), nullptr);
  interpreter().onChannelDown(&channel, 77);
  interpreter().sendCommand("PWD");
  EXPECT_THAT(logged(), ElementsAre("Tovik: protocol interpreter channel down ", "Tovik: [FTP] PWD"));
}

TEST_F(CommandWriter, KeepsTheRestAsItWasWhenTheChannelGoesDown) {
  loggedIn();
  interpreter().pending = pending_e::retr;
  serverSends("211-Status");
  interpreter().onChannelDown(&channel, dirPeer);
  EXPECT_EQ(interpreter().pending, pending_e::retr);
  EXPECT_EQ(interpreter().replyState, 1);
  EXPECT_EQ(interpreter().replyCode, (code_t{2, 1, 1}));
  EXPECT_THAT(client.lines(), IsEmpty()) << "only the end of the conduit is reported";
}

// The greeting of the next connection was no greeting to it.
TEST_F(CommandWriter, ResetsItsStateWhenAnExceptionEndedTheChannel) {
  loggedIn();
  interpreter().pending = pending_e::retr;
  serverSends("211-Status");
  channel.cause = EndCause::exception;
  interpreter().onChannelDown(&channel, dirFailed);
  forget();
  serverSends("220 Ready");
  EXPECT_THAT(channel.sent(), ElementsAre("USER me\r\n"));
}

TEST_F(CommandWriter, ReleasesAChannelThatAnotherReplaces) {
  FakeChannel second;
  interpreter().onChannelUp(&channel);
  EXPECT_EQ(channel.releases, 0);
  interpreter().onChannelUp(&second);
  EXPECT_EQ(channel.releases, 1);
  EXPECT_EQ(second.releases, 0);
}

TEST_F(CommandWriter, ReportsTheEndOfTheConduitEvenIfNoChannelWasEverUp) {
  interpreter().channel = nullptr;
  interpreter().onConduitInactive(nullptr);
  EXPECT_THAT(client.lines(), ElementsAre("onDisconnected"));
  EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(CommandWriter, DoesNothingAboutANewConduit) {
  interpreter().onNewConduit(nullptr);
  EXPECT_THAT(client.lines(), IsEmpty());
  EXPECT_THAT(logged(), IsEmpty());
  EXPECT_THAT(channel.sent(), IsEmpty());
}

TEST_F(CommandWriter, ReceivesLines) {
  DataAggregator* made = nullptr;
  ASSERT_TRUE(interpreter().getDataAggregator(&channel, made));
  const std::unique_ptr<DataAggregator> owned(made);
  const auto* aggregator = dynamic_cast<BufferedAggregator*>(made);
  ASSERT_NE(aggregator, nullptr);
  EXPECT_EQ(aggregator->channel_, &channel);
  EXPECT_EQ(aggregator->handler_, static_cast<DataHandler*>(&interpreter()));
  EXPECT_EQ(aggregator->packetizer_, static_cast<DataPacketizer*>(&interpreter()));
}

}  // namespace
}  // namespace tovik::ftp
