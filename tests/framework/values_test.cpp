#include <gtest/gtest.h>
#include <tovik/buffer.h>
#include <tovik/data_handler.h>
#include <tovik/exception.h>
#include <tovik/protocol.h>
#include <tovik/result.h>
#include <tovik/socket_dir.h>
#include <tovik/text.h>
#include <tovik/traits.h>

#include <string>
#include <type_traits>

namespace tovik {
namespace {

TEST(ResultValue, OfSuccessIsTrueAndHasNoText) {
  const Result result = Success;
  EXPECT_TRUE(result);
  EXPECT_EQ(result.message, "");
}

TEST(ResultValue, OfFailureIsFalseAndHasTheText) {
  const Result result = failure("no room");
  EXPECT_FALSE(result);
  EXPECT_FALSE(result.ok);
  EXPECT_EQ(result.message, "no room");
}

TEST(ResultValue, IsFailureByDefault) { EXPECT_FALSE(Result()); }

TEST(ResultValue, ConvertsToBoolOnlyExplicitly) { EXPECT_FALSE((std::is_convertible_v<Result, bool>)); }

TEST(ExceptionValue, HasItsText) {
  const Exception exception("no dispatcher");
  EXPECT_STREQ(exception.what(), "no dispatcher");
}

TEST(ExceptionValue, RaisesACopyOfItself) {
  const Exception original("text");
  try {
    original.raise();
  } catch (const std::exception& caught) {
    EXPECT_STREQ(caught.what(), "text");
    EXPECT_NE(&caught, &original);
  }
}

TEST(ExceptionValue, RaisesTheTypeOfADerivedClassThatOverridesRaise) {
  class Special : public Exception {
   public:
    using Exception::Exception;
    [[noreturn]] void raise() const override { throw *this; }
  };
  const Special original("special");
  const Exception& base = original;
  EXPECT_THROW(base.raise(), Special);
}

TEST(BufferValue, WithoutStorageIsEmpty) {
  const Buffer buffer;
  EXPECT_EQ(buffer.curr(), nullptr);
  EXPECT_EQ(buffer.remaining(), 0U);
}

TEST(BufferValue, CountsFromThePositionToTheEnd) {
  std::string storage = "abcdef";
  Buffer buffer(storage.data(), storage.size());
  EXPECT_EQ(buffer.remaining(), 6U);
  buffer.consume(4);
  EXPECT_EQ(std::string(buffer.curr(), buffer.remaining()), "ef");
  buffer.consume(2);
  EXPECT_EQ(buffer.remaining(), 0U);
}

TEST(BufferValue, DoesNotAffectAnotherOneOfTheSameBytes) {
  std::string storage = "abc";
  const Buffer original(storage.data(), storage.size());
  Buffer copy = original;
  copy.consume(3);
  EXPECT_EQ(original.remaining(), 3U);
}

TEST(CharHandlerBase, PassesOnTheRemainingBytesOfABuffer) {
  class Keeper : public CharHandler {
   public:
    void onData(Channel* channel, const char* data, unsigned long size, Multicast* /*multicast*/) override {
      seenChannel = channel;
      seen.assign(data, size);
    }
    Channel* seenChannel = nullptr;
    std::string seen;
  };
  std::string storage("a\0bcd", 5);
  Buffer buffer(storage.data(), storage.size());
  buffer.consume(1);
  Keeper keeper;
  keeper.onBuffer(nullptr, &buffer, nullptr);
  EXPECT_EQ(keeper.seen, std::string("\0bcd", 4));
}

TEST(TraitsDefaults, AreAsDocumented) {
  const Traits traits;
  EXPECT_TRUE(traits.no_delay);
  EXPECT_EQ(traits.receive_buffer_bytes, 0);
  EXPECT_EQ(traits.send_buffer_bytes, 0);
  EXPECT_EQ(traits.max_unit_bytes, 1024UL * 1024UL);
  EXPECT_EQ(traits.first_byte_limit_s, 0);
}

TEST(ProtocolValue, ZeroIsTcp) { EXPECT_EQ(static_cast<Protocol>(0), Protocol::tcp); }

TEST(SocketDirection, HasAName) {
  EXPECT_STREQ(printSocketDir(dirPeer), "peer");
  EXPECT_STREQ(printSocketDir(dirLocal), "local");
  EXPECT_STREQ(printSocketDir(dirFailed), "failed");
}

TEST(SocketDirection, IsNullForAnyOtherNumber) {
  for (const int number : {-1, 3, 100, -2147483647 - 1, 2147483647}) EXPECT_EQ(printSocketDir(number), nullptr);
}

TEST(TrimWhitespace, RemovesAllSixKindsFromBothEnds) {
  EXPECT_EQ(trim_whitespace(" \t\n\r\x0b\x0c"
                            "text"
                            " \x0c\x0b\r\n\t"),
            "text");
}

TEST(TrimWhitespace, KeepsBlanksInside) { EXPECT_EQ(trim_whitespace("\ta \r\n b\t"), "a \r\n b"); }

TEST(TrimWhitespace, MakesATextOfBlanksEmpty) {
  EXPECT_EQ(trim_whitespace(" \t\n\r\x0b\x0c "), "");
  EXPECT_EQ(trim_whitespace(""), "");
}

TEST(TrimWhitespace, TrimsASingleSide) {
  EXPECT_EQ(trim_whitespace("  x"), "x");
  EXPECT_EQ(trim_whitespace("x  "), "x");
}

TEST(TrimWhitespace, KeepsAllOtherCharacters) {
  const std::string others("\0\b\x1c\x85\xa0text\xa0\x85\x1c\b\0", 14);
  EXPECT_EQ(trim_whitespace(others), others);
}

struct Found {
  bool both;
  std::string text;
  friend bool operator==(const Found&, const Found&) = default;
};

Found found(std::string text, char open, char close) {
  const bool both = findSubstring(text, open, close);
  return {both, text};
}

TEST(FindSubstring, KeepsTheTextBetweenTheDelimiters) {
  EXPECT_EQ(found("Mode (10,0,0,5,4,1).", '(', ')'), (Found{true, "10,0,0,5,4,1"}));
}

TEST(FindSubstring, UsesTheFirstOpeningAndTheNextClosing) {
  EXPECT_EQ(found("a(b(c)d)e", '(', ')'), (Found{true, "b(c"}));
  EXPECT_EQ(found("a)b(c)", '(', ')'), (Found{true, "c"}));
}

TEST(FindSubstring, IsEmptyBetweenAdjacentDelimiters) { EXPECT_EQ(found("a()b", '(', ')'), (Found{true, ""})); }

TEST(FindSubstring, MayUseOneCharacterForBothEnds) {
  EXPECT_EQ(found(R"(257 "/a" is "it")", '"', '"'), (Found{true, "/a"}));
  EXPECT_EQ(found(R"(257 "a""b")", '"', '"'), (Found{true, "a"}));
}

TEST(FindSubstring, KeepsTheTextWithoutAnOpeningDelimiter) {
  EXPECT_EQ(found("abc)", '(', ')'), (Found{false, "abc)"}));
  EXPECT_EQ(found("", '(', ')'), (Found{false, ""}));
}

TEST(FindSubstring, DropsTheTextBeforeTheOpeningWithoutAClosingDelimiter) {
  EXPECT_EQ(found("ab(cd", '(', ')'), (Found{false, "cd"}));
  EXPECT_EQ(found("257 \"cd", '"', '"'), (Found{false, "cd"}));
  EXPECT_EQ(found("(", '(', ')'), (Found{false, ""}));
}

}  // namespace
}  // namespace tovik
