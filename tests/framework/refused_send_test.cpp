#include <gmock/gmock.h>
#include <sys/socket.h>
#include <tovik/channel.h>

#include <cerrno>
#include <string>

#include "connections.h"
#include "support/sample_bytes.h"

namespace tovik {
namespace {

using testing_support::LoopbackSocket;

/// A connection whose socket the test fills itself: the kernel then refuses every byte that the framework sends, while
/// the framework's own queue is empty.
class RefusedSend : public testing_support::Connections {
 protected:
  RefusedSend() {
    consumer.socketAct = [this](Socket& made) { socket = made.number(); };
    remote = peerWhenUp();
  }

  void fill() {
    const std::string piece = testing_support::sampleBytes(1000);
    for (unsigned long size = piece.size(); size > 0;) {
      const long taken = ::send(socket, piece.data(), size, MSG_DONTWAIT | MSG_NOSIGNAL);
      ASSERT_TRUE(taken > 0 || errno == EAGAIN);
      if (taken > 0) filled += piece.substr(0, static_cast<unsigned long>(taken));
      // Down to single bytes, so that the kernel takes no further byte.
      if (taken < 0) size /= 10;
    }
  }
  void send(const std::string& bytes) { consumer.channel()->send(bytes.data(), bytes.size()); }
  /// Receives the bytes that filled the socket, and then the given ones.
  void expectBehindTheFilling(const std::string& bytes) {
    EXPECT_TRUE(remote.receive(filled.size()) == filled);
    EXPECT_EQ(remote.receive(bytes.size()), bytes);
    filled.clear();
  }

  int socket = -1;
  std::string filled;
  LoopbackSocket remote;
};

TEST_F(RefusedSend, ArrivesOnceThePeerReads) {
  fill();
  send("refused");
  expectBehindTheFilling("refused");
}

TEST_F(RefusedSend, ArrivesInOrderWithWhatIsSentAfterIt) {
  fill();
  send("one ");
  send("two ");
  transport->call([this] { send("three "); });
  send("four");
  expectBehindTheFilling("one two three four");
}

TEST_F(RefusedSend, ArrivesRepeatedly) {
  for (const std::string text : {"first", "second", "third"}) {
    fill();
    send(text);
    expectBehindTheFilling(text);
  }
}

TEST_F(RefusedSend, ArrivesFromInsideAHandler) {
  consumer.when("data", [this] {
    fill();
    send("answer");
  });
  remote.send("?");
  ASSERT_TRUE(consumer.waitsFor("data"));
  expectBehindTheFilling("answer");
}

TEST_F(RefusedSend, ArrivesBeforeBringDownWhenSentEndsTheConnection) {
  fill();
  send("last");
  consumer.channel()->bringDownWhenSent();
  EXPECT_TRUE(remote.receiveToEnd() == filled + "last");
  ASSERT_TRUE(consumer.waitsFor("onConduitInactive"));
  EXPECT_EQ(consumer.eventLog()->count("onChannelDown local"), 1);
}

}  // namespace
}  // namespace tovik
