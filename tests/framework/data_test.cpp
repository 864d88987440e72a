#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <tovik/channel.h>
#include <tovik/worker_thread.h>
#include <unistd.h>

#include <algorithm>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "connections.h"
#include "placed_transport.h"
#include "support/latch.h"
#include "support/sample_bytes.h"

namespace tovik {
namespace {

using ::testing::ElementsAre;
using testing_support::isWholeLife;
using testing_support::Latch;
using testing_support::LoopbackSocket;
using testing_support::sampleBytes;

Descriptor fileOf(const std::string& content) {
  Descriptor file(::memfd_create("content", MFD_CLOEXEC));
  EXPECT_TRUE(file.isOpen());
  EXPECT_EQ(::pwrite(file.number(), content.data(), content.size(), 0), static_cast<long>(content.size()));
  return file;
}

constexpr unsigned long many = 8UL << 20U;

class Data : public testing_support::Connections {
 protected:
  Channel& channel() { return *consumer.channel(); }
  void send(const std::string& bytes) { channel().send(bytes.data(), bytes.size()); }
};

TEST_F(Data, ArrivesWholeAndInOrder) {
  LoopbackSocket remote = peer();
  const std::string bytes = sampleBytes(many);
  remote.send(bytes);
  remote.close();
  ASSERT_TRUE(consumer.waitsFor("onConduitInactive"));
  EXPECT_TRUE(consumer.data() == bytes);
}

// A receive stops before an urgent byte, so a short receive does not mean that there is no more data.
TEST_F(Data, AfterAnUrgentByteArrivesEvenIfThePeerHasEnded) {
  Latch sent;
  consumer.when("onNewConduit", [&] { EXPECT_TRUE(sent.waits()); });
  LoopbackSocket remote = peer();
  remote.send("before");
  remote.sendUrgent('!');
  remote.send("behind");
  remote.close();
  sent.open();
  ASSERT_TRUE(consumer.waitsFor("onConduitInactive"));
  EXPECT_EQ(consumer.data(), "beforebehind");
}

TEST_F(Data, AfterAnUrgentByteArrivesEvenIfNothingFollows) {
  Latch sent;
  consumer.when("onChannelUp", [&] { EXPECT_TRUE(sent.waits()); });
  LoopbackSocket remote = peer();
  remote.send("before");
  remote.sendUrgent('!');
  remote.send("behind");
  sent.open();
  ASSERT_TRUE(consumer.waitsForData(12)) << consumer.data();
  EXPECT_EQ(consumer.data(), "beforebehind");
}

TEST_F(Data, LeavesWholeAndInOrderThoughThePeerReadsLate) {
  LoopbackSocket remote = peerWhenUp();
  const std::string bytes = sampleBytes(many);
  for (unsigned long at = 0; at < many; at += 100'000) send(bytes.substr(at, 100'000));
  EXPECT_TRUE(remote.receive(many) == bytes);
}

TEST_F(Data, LeavesInOnePieceOfAnySizeWhole) {
  LoopbackSocket remote = peerWhenUp();
  const std::string bytes = sampleBytes(many);
  send(bytes);
  send("end");
  EXPECT_TRUE(remote.receive(many) == bytes);
  EXPECT_EQ(remote.receive(3), "end");
}

TEST_F(Data, FlowsBothWaysAtOnce) {
  LoopbackSocket remote = peerWhenUp();
  const std::string out = sampleBytes(many);
  std::string in = out;
  std::reverse(in.begin(), in.end());
  auto sending = std::async(std::launch::async, [&] { remote.send(in); });
  send(out);
  EXPECT_TRUE(remote.receive(many) == out);
  sending.get();
  ASSERT_TRUE(consumer.waitsForData(many));
  EXPECT_TRUE(consumer.data() == in);
}

TEST_F(Data, KeepsItsZeroBytes) {
  LoopbackSocket remote = peerWhenUp();
  const std::string zeros("a\0\0b\0", 5);
  remote.send(zeros);
  ASSERT_TRUE(consumer.waitsForData(5));
  EXPECT_EQ(consumer.data(), zeros);
  send(zeros);
  EXPECT_EQ(remote.receive(5), zeros);
}

TEST_F(Data, OfNoLengthIsNothing) {
  LoopbackSocket remote = peerWhenUp();
  channel().send("", 0);
  channel().send(nullptr, 0);
  send("x");
  EXPECT_EQ(remote.receive(1), "x");
}

TEST_F(Data, OfSeveralThreadsIsSentInWholePieces) {
  constexpr unsigned long pieces = 400;
  constexpr unsigned long size = 10'000;
  LoopbackSocket remote = peerWhenUp();
  std::vector<std::thread> threads;
  for (const char letter : {'a', 'b', 'c'})
    threads.emplace_back([this, letter] {
      for (unsigned long i = 0; i < pieces; ++i) send(std::string(size, letter));
    });
  const std::string all = remote.receive(3 * pieces * size);
  for (auto& thread : threads) thread.join();
  ASSERT_EQ(all.size(), 3 * pieces * size);
  for (unsigned long at = 0; at < all.size(); at += size)
    ASSERT_TRUE(all.compare(at, size, std::string(size, all[at])) == 0) << at;
}

TEST_F(Data, IsAnsweredFromInsideItsHandler) {
  consumer.when("data", [this] { send("pong"); });
  LoopbackSocket remote = peer();
  remote.send("ping");
  EXPECT_EQ(remote.receive(4), "pong");
}

TEST_F(Data, MayBeSentAsSoonAsTheChannelIsUp) {
  consumer.when("onChannelUp", [this] { send("hello"); });
  LoopbackSocket remote = peer();
  EXPECT_EQ(remote.receive(5), "hello");
}

TEST_F(Data, SentAfterTheEndGoesNowhere) {
  LoopbackSocket remote = peerWhenUp();
  channel().bringDown();
  ASSERT_TRUE(consumer.waitsFor("onConduitInactive"));
  send("late");
  channel().sendFile(fileOf("late"), 0, 4);
  channel().bringDownWhenSent();
  EXPECT_TRUE(remote.waitForEnd());
}

TEST_F(Data, SentInsideTheLastEventsIsDropped) {
  consumer.when("onChannelDown", [this] { send("late"); }).when("onConduitInactive", [this] { send("late"); });
  LoopbackSocket remote = peerWhenUp();
  channel().bringDown();
  EXPECT_TRUE(remote.waitForEnd());
  EXPECT_TRUE(consumer.waitsFor("onConduitInactive"));
}

// Seen by the thread sanitizer: `written` has no guard of its own.
TEST_F(Data, OfTheAnswerSeesWhatTheSendingThreadDidBefore) {
  LoopbackSocket remote = peerWhenUp();
  int written = 0;
  int seen = 0;
  consumer.when("data", [&] { seen = written; });
  for (int round = 1; round <= 50; ++round) {
    std::thread([&, round] {
      written = round;
      send("?");
    }).join();
    remote.send(remote.receive(1));
    ASSERT_TRUE(consumer.waitsForData(static_cast<unsigned long>(round)));
    transport->call([] {});
    EXPECT_EQ(seen, round);
  }
}

TEST_F(Data, AfterALineThatBringsTheChannelDownIsDropped) {
  consumer.takesLines().when("data", [this] { channel().bringDown(); });
  LoopbackSocket remote = peer();
  remote.send("first\r\nsecond\r\nthird\r\n");
  ASSERT_TRUE(consumer.waitsFor("onConduitInactive"));
  EXPECT_THAT(consumer.lines(), ElementsAre("first\r\n"));
  EXPECT_THAT(consumer.events().at(6), "onChannelDown local");
}

TEST_F(Data, AfterALineThatDestroysTheTransportIsDropped) {
  Latch destroyed;
  consumer.takesLines().when("data", [&] {
    transport.reset();
    destroyed.open();
  });
  LoopbackSocket remote = peer();
  remote.send("first\r\nsecond\r\n");
  ASSERT_TRUE(destroyed.waits());
  EXPECT_TRUE(remote.waitForEnd());
  EXPECT_THAT(consumer.lines(), ElementsAre("first\r\n"));
}

TEST_F(Data, AfterASplitLineThatDestroysTheTransportIsDropped) {
  Latch destroyed;
  consumer.takesLines().when("data", [&] {
    transport.reset();
    destroyed.open();
  });
  LoopbackSocket remote = peerWhenUp();
  remote.send("fir");
  for (int turn = 0; turn < 3; ++turn) transport->call([] {});
  remote.send("st\r\nsecond\r\n");
  ASSERT_TRUE(destroyed.waits());
  EXPECT_TRUE(remote.waitForEnd());
  EXPECT_THAT(consumer.lines(), ElementsAre("first\r\n"));
}

TEST_F(Data, AfterALineThatRetiresItsConsumerIsDropped) {
  auto* const fresh = new testing_support::Recorder;
  const auto eventLog = fresh->eventLog();
  fresh->takesLines().when("data", [&, fresh] {
    transport->retire(fresh);
    eventLog->note("returning");
  });
  LoopbackSocket remote = peerOf(*fresh);
  remote.send("first\r\nsecond\r\n");
  ASSERT_TRUE(eventLog->waitsFor("destroyed"));
  EXPECT_EQ(eventLog->count("data"), 1);
  EXPECT_EQ(eventLog->events().back(), "destroyed");
}

TEST_F(Data, AfterAPieceThatBringsTheChannelDownIsDropped) {
  consumer.when("data", [this] { channel().bringDown(); });
  Latch sent;
  consumer.when("onNewConduit", [&] { EXPECT_TRUE(sent.waits()); });
  LoopbackSocket remote = peer();
  // More than is received at once.
  const std::string bytes(2UL << 20U, 'x');
  auto sending = std::async(std::launch::async, [&] {
    try {
      remote.send(bytes);
    } catch (const std::system_error&) {
      // The connection ends while bytes are in transit.
    }
  });
  sent.open();
  ASSERT_TRUE(consumer.waitsFor("onConduitInactive"));
  EXPECT_EQ(consumer.eventLog()->count("data"), 1);
  EXPECT_LT(consumer.data().size(), bytes.size());
  sending.get();
}

TEST_F(Data, SentJustBeforeBringDownStillArrives) {
  LoopbackSocket remote = peerWhenUp();
  send("QUIT\r\n");
  channel().bringDown();
  EXPECT_EQ(remote.receiveToEnd(), "QUIT\r\n");
}

TEST_F(Data, AllArrivesBeforeAnEndOnceSent) {
  LoopbackSocket remote = peerWhenUp();
  const std::string bytes = sampleBytes(many);
  send(bytes);
  channel().bringDownWhenSent();
  send("dropped");
  channel().sendFile(fileOf("dropped"), 0, 7);
  EXPECT_TRUE(remote.receiveToEnd() == bytes);
  ASSERT_TRUE(consumer.waitsFor("onConduitInactive"));
  EXPECT_THAT(consumer.events().at(5), "onChannelDown local");
}

TEST_F(Data, NeedNotBeSentBeforeAnEndOnceSent) {
  LoopbackSocket remote = peerWhenUp();
  channel().bringDownWhenSent();
  channel().bringDownWhenSent();
  EXPECT_TRUE(remote.waitForEnd());
  EXPECT_TRUE(consumer.waitsFor("onConduitInactive"));
}

TEST_F(Data, StillComesInBeforeAnEndOnceSent) {
  LoopbackSocket remote = peerWhenUp();
  send(sampleBytes(many));
  channel().bringDownWhenSent();
  remote.send("hello");
  EXPECT_TRUE(consumer.waitsForData(5));
  EXPECT_EQ(remote.receiveToEnd().size(), many);
}

TEST_F(Data, OfAFileLeavesWholeAndInTurn) {
  LoopbackSocket remote = peerWhenUp();
  const std::string bytes = sampleBytes(many);
  send("before");
  channel().sendFile(fileOf(bytes), 0, bytes.size());
  send("after");
  EXPECT_EQ(remote.receive(6), "before");
  EXPECT_TRUE(remote.receive(many) == bytes);
  EXPECT_EQ(remote.receive(5), "after");
}

TEST_F(Data, OfAFileLeavesFromAnOffset) {
  LoopbackSocket remote = peerWhenUp();
  channel().sendFile(fileOf("0123456789"), 3, 4);
  channel().bringDownWhenSent();
  EXPECT_EQ(remote.receiveToEnd(), "3456");
}

TEST_F(Data, OfSeveralFilesLeavesInTurn) {
  LoopbackSocket remote = peerWhenUp();
  for (const char* text : {"one", "two", "three"}) channel().sendFile(fileOf(text), 0, std::string(text).size());
  channel().sendFile(fileOf(""), 0, 0);
  channel().bringDownWhenSent();
  EXPECT_EQ(remote.receiveToEnd(), "onetwothree");
}

TEST_F(Data, OfAFileThatIsTooShortEndsTheConnectionAsFailed) {
  LoopbackSocket remote = peerWhenUp();
  channel().sendFile(fileOf("short"), 0, 6);
  ASSERT_TRUE(consumer.waitsFor("onConduitInactive"));
  EXPECT_EQ(remote.receiveToEnd(), "short");
  EXPECT_THAT(consumer.events().at(5), "onChannelDown failed");
}

TEST_F(Data, OfSomethingThatIsNoFileEndsTheConnectionAsFailed) {
  LoopbackSocket remote = peerWhenUp();
  channel().sendFile(Descriptor(::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC)), 0, 6);
  ASSERT_TRUE(consumer.waitsFor("onConduitInactive"));
  EXPECT_THAT(consumer.events().at(5), "onChannelDown failed");
}

// The signal would end the process.
TEST_F(Data, SentToAPeerThatIsGoneRaisesNoSignal) {
  LoopbackSocket remote = peerWhenUp();
  const auto file = fileOf(sampleBytes(many));
  send(sampleBytes(many));
  channel().sendFile(Descriptor(::dup(file.number())), 0, many);
  remote.reset();
  while (consumer.eventLog()->count("onConduitInactive") == 0) {
    send("more");
    channel().sendFile(Descriptor(::dup(file.number())), 0, many);
  }
  EXPECT_TRUE(isWholeLife(consumer.events()));
}

TEST_F(Data, ThatThePeerSentBeforeItWentArrivesThoughSendingFails) {
  LoopbackSocket remote = peerWhenUp();
  transport->call([&] {
    remote.send("421 bye\r\n");
    remote.reset();
    for (int i = 0; i < 3; ++i) send("NOOP\r\n");
  });
  ASSERT_TRUE(consumer.waitsFor("onConduitInactive"));
  EXPECT_EQ(consumer.data(), "421 bye\r\n");
  EXPECT_TRUE(isWholeLife(consumer.events()));
}

TEST_F(Data, IsCountedByTheWorker) {
  testing_support::PlacedTransport placed(dispatcher.get());
  const auto before = placed.worker().bytesReceived();
  LoopbackSocket remote = peerOf(placed.transport, consumer);
  remote.send(sampleBytes(many));
  ASSERT_TRUE(consumer.waitsForData(many));
  EXPECT_EQ(placed.worker().bytesReceived() - before, many);
}

TEST_F(Data, OfALineThatOutgrowsTheLimitEndsTheConnection) {
  Traits traits;
  traits.max_unit_bytes = 100;
  transport = transportWith(traits);
  consumer.takesLines();
  LoopbackSocket remote = peer();
  remote.send("fine\r\n" + std::string(101, 'x'));
  ASSERT_TRUE(consumer.waitsFor("onConduitInactive"));
  EXPECT_THAT(consumer.lines(), ElementsAre("fine\r\n"));
  EXPECT_THAT(log.texts(), ElementsAre("Tovik: unit longer than 100 bytes, channel brought down"));
  EXPECT_THAT(consumer.events().at(6), "onChannelDown local");
}

}  // namespace
}  // namespace tovik
