#include <gmock/gmock.h>
#include <tovik/sockbuf.h>

#include <ostream>
#include <string>

#include "support/fake_channel.h"
#include "support/heap.h"

namespace tovik {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing_support::heapIsOurs;
using testing_support::ScarceMemory;

class ScarceSockbuf : public ::testing::Test {
 protected:
  testing_support::FakeChannel channel;
  SendDestination destination{&channel};
};

TEST_F(ScarceSockbuf, LosesTheWholePieceAndEndsTheConnection) {
  if (!heapIsOurs()) GTEST_SKIP() << "the sanitizer's operator new cannot be replaced";
  const std::string text(600, 'x');
  {
    sockbuf buffer(destination, nullptr);
    std::ostream out(&buffer);
    const ScarceMemory none(0);
    out << text;
    EXPECT_TRUE(out.bad());
  }
  EXPECT_THAT(channel.sent(), IsEmpty());
  EXPECT_FALSE(channel.delivers());
}

TEST_F(ScarceSockbuf, SendsNothingAfterALostPiece) {
  if (!heapIsOurs()) GTEST_SKIP() << "the sanitizer's operator new cannot be replaced";
  const std::string text(600, 'x');
  {
    sockbuf buffer(destination, nullptr);
    std::ostream out(&buffer);
    {
      const ScarceMemory none(0);
      out << text << std::flush;
    }
    out.clear();
    out << "more" << std::flush;
  }
  EXPECT_THAT(channel.sent(), IsEmpty());
}

TEST_F(ScarceSockbuf, NeedsNoMemoryForAShortText) {
  {
    sockbuf buffer(destination, nullptr);
    std::ostream out(&buffer);
    const ScarceMemory none(0);
    out << "short";
  }
  EXPECT_THAT(channel.sent(), ElementsAre("short"));
}

}  // namespace
}  // namespace tovik
