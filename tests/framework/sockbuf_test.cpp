#include <gmock/gmock.h>
#include <tovik/send_destination.h>
#include <tovik/sockbuf.h>

#include <array>
#include <ostream>
#include <string>

#include "support/fake_channel.h"

namespace tovik {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing_support::FakeChannel;

constexpr unsigned long ownStorage = 512;

std::string textOf(unsigned long size) {
  std::string text;
  for (unsigned long i = 0; i < size; ++i) text.push_back(static_cast<char>('a' + i % 26));
  return text;
}

class Sockbuf : public ::testing::Test {
 protected:
  FakeChannel channel;
  SendDestination destination{&channel};
};

TEST_F(Sockbuf, SendsAShortTextInOnePieceWhenDestroyed) {
  {
    sockbuf buffer(destination, nullptr);
    std::ostream out(&buffer);
    out << "PORT " << 127 << ',' << 0 << "\r\n";
    EXPECT_THAT(channel.sent(), IsEmpty());
  }
  EXPECT_THAT(channel.sent(), ElementsAre("PORT 127,0\r\n"));
}

// It kept a reference to a temporary that was destroyed before its use.
TEST_F(Sockbuf, NeedsItsDestinationOnlyDuringItsConstruction) {
  {
    sockbuf buffer(SendDestination(&channel), nullptr);
    std::ostream(&buffer) << "text";
  }
  EXPECT_THAT(channel.sent(), ElementsAre("text"));
}

TEST_F(Sockbuf, SendsNothingWhenNothingWasWritten) {
  { sockbuf buffer(destination, nullptr); }
  {
    sockbuf buffer(destination, nullptr);
    std::ostream(&buffer) << "" << std::flush;
  }
  EXPECT_THAT(channel.sent(), IsEmpty());
}

TEST_F(Sockbuf, SendsATextOfAnyLengthAroundItsOwnStorageInOnePiece) {
  for (unsigned long size = ownStorage - 3; size <= ownStorage + 3; ++size) {
    channel.clear();
    {
      sockbuf buffer(destination, nullptr);
      std::ostream(&buffer) << textOf(size);
    }
    EXPECT_THAT(channel.sent(), ElementsAre(textOf(size)));
  }
}

TEST_F(Sockbuf, SendsATextWrittenByteByByteInOnePiece) {
  const std::string text = textOf(3 * ownStorage + 1);
  {
    sockbuf buffer(destination, nullptr);
    std::ostream out(&buffer);
    for (const char byte : text) out.put(byte);
  }
  EXPECT_THAT(channel.sent(), ElementsAre(text));
}

TEST_F(Sockbuf, SendsAVeryLongTextInOnePiece) {
  const std::string text = textOf(1'000'000);
  {
    sockbuf buffer(destination, nullptr);
    std::ostream(&buffer) << text;
  }
  EXPECT_THAT(channel.sent(), ElementsAre(text));
}

TEST_F(Sockbuf, KeepsEveryByteValue) {
  std::string text;
  for (int byte = 0; byte < 256; ++byte) text.append(3, static_cast<char>(byte));
  {
    sockbuf buffer(destination, nullptr);
    std::ostream(&buffer) << text;
  }
  EXPECT_THAT(channel.sent(), ElementsAre(text));
}

TEST_F(Sockbuf, SendsAPieceAtEachFlush) {
  {
    sockbuf buffer(destination, nullptr);
    std::ostream out(&buffer);
    out << "one" << std::flush << std::flush << textOf(2 * ownStorage) << std::flush << "three";
  }
  EXPECT_THAT(channel.sent(), ElementsAre("one", textOf(2 * ownStorage), "three"));
}

TEST_F(Sockbuf, GathersInTheBufferGivenAndSendsWhatOutgrowsItInOnePieceToo) {
  std::array<char, 8> storage{};
  for (unsigned long size = 1; size <= 20; ++size) {
    channel.clear();
    Buffer given(storage.data(), storage.size());
    {
      sockbuf buffer(destination, &given);
      std::ostream(&buffer) << textOf(size);
    }
    EXPECT_THAT(channel.sent(), ElementsAre(textOf(size)));
    EXPECT_NE(storage[0], 0);
  }
}

TEST_F(Sockbuf, GathersFromTheCurrentPositionOfTheBufferGiven) {
  std::array<char, 4> storage{'k', 'e', 'e', 'p'};
  Buffer given(storage.data(), storage.size());
  given.consume(2);
  {
    sockbuf buffer(destination, &given);
    std::ostream(&buffer) << "long text";
  }
  EXPECT_THAT(channel.sent(), ElementsAre("long text"));
  EXPECT_EQ(std::string(storage.data(), 2), "ke");
}

TEST_F(Sockbuf, AcceptsABufferWithoutStorage) {
  Buffer none;
  {
    sockbuf buffer(destination, &none);
    std::ostream(&buffer) << "text";
  }
  EXPECT_THAT(channel.sent(), ElementsAre("text"));
}

TEST_F(Sockbuf, KeepsTheOrderOfSeveral) {
  for (const char* text : {"one", "two", "three"}) {
    sockbuf buffer(destination, nullptr);
    std::ostream(&buffer) << text;
  }
  EXPECT_THAT(channel.sent(), ElementsAre("one", "two", "three"));
}

TEST(SockbufWithoutAChannel, SendsNowhere) {
  const SendDestination nowhere(nullptr);
  sockbuf buffer(nowhere, nullptr);
  std::ostream out(&buffer);
  out << textOf(2 * ownStorage) << std::flush;
  EXPECT_TRUE(out.good());
}

TEST_F(Sockbuf, DestinationSendsAndFails) {
  destination.send("ab", 2);
  EXPECT_THAT(channel.sent(), ElementsAre("ab"));
  destination.fail();
  EXPECT_FALSE(channel.delivers());
}

}  // namespace
}  // namespace tovik
