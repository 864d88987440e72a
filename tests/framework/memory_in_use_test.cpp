#include <gmock/gmock.h>
#include <tovik/channel.h>

#include <string>

#include "connections.h"
#include "support/heap.h"

namespace tovik {
namespace {

using testing_support::heapInUse;
using testing_support::heapIsOurs;
using testing_support::LoopbackSocket;
using testing_support::Recorder;

class MemoryInUse : public testing_support::Connections {
 protected:
  void SetUp() override {
    if (!heapIsOurs()) GTEST_SKIP() << "the sanitizer's operator new cannot be replaced";
  }
};

TEST_F(MemoryInUse, DoesNotGrowWithTheConnectionsOfATransport) {
  const auto connectAndRetire = [this] {
    auto* const fresh = new Recorder;
    const auto eventLog = fresh->eventLog();
    LoopbackSocket remote = peerOf(*fresh);
    remote.send("x");
    ASSERT_TRUE(eventLog->waitsFor("data"));
    transport->retire(fresh);
    ASSERT_TRUE(eventLog->waitsFor("destroyed"));
    transport->call([] {});
  };
  for (int i = 0; i < 10; ++i) connectAndRetire();
  const long before = heapInUse().bytes;
  for (int i = 0; i < 500 && !HasFatalFailure(); ++i) connectAndRetire();
  EXPECT_LT(heapInUse().bytes - before, 20'000);
}

// What had been handed to the kernel was kept until the queue was empty, which it never was.
TEST_F(MemoryInUse, DoesNotGrowWhileTheOutputQueueNeverDrains) {
  constexpr unsigned long piece = 1UL << 20U;
  constexpr unsigned long waiting = 16;
  LoopbackSocket remote = peerWhenUp();
  const std::string bytes(piece, 'x');
  const auto send = [&] { consumer.channel()->send(bytes.data(), bytes.size()); };
  for (unsigned long i = 0; i < waiting; ++i) send();
  const long before = heapInUse().bytes;
  for (unsigned long i = 0; i < 100; ++i) {
    ASSERT_EQ(remote.receive(piece).size(), piece);
    send();
  }
  transport->call([] {});
  EXPECT_LT(heapInUse().bytes - before, static_cast<long>(2 * waiting * piece));
  consumer.channel()->bringDown();
  remote.receiveToEnd();
}

// Each consumer whose connection was refused was remembered by its transport.
TEST_F(MemoryInUse, DoesNotGrowWithConsumersWhoseConnectionsAreRefused) {
  const Address nobody = listener.address();
  listener.close();
  for (int i = 0; i < 100; ++i) another();
  EXPECT_FALSE(connect(*transport, consumer, nobody));
  const long before = heapInUse().blocks;
  for (Recorder& each : others) EXPECT_FALSE(connect(*transport, each, nobody));
  EXPECT_EQ(heapInUse().blocks, before);
}

}  // namespace
}  // namespace tovik
