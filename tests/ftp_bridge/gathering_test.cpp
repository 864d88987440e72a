#include "ftp_bridge/gathering.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <fstream>
#include <new>
#include <string>

#include "support/sanitizer.h"

namespace tovik::ftp {
namespace {

constexpr unsigned long mebibyte = 1UL << 20U;

/// Recognizably different from the pieces around it.
std::string pieceOf(unsigned long size, unsigned long number) {
  std::string piece(size, static_cast<char>(number));
  piece.front() = static_cast<char>(number >> 8U);
  return piece;
}

TEST(Gathering, AppendsPiecesOfEverySizeInOrder) {
  std::string gathered;
  std::string expected;
  for (unsigned long number = 1; gathered.size() < 20 * mebibyte; ++number) {
    const std::string piece = pieceOf(number * 1009 % (300 << 10U) + 1, number);
    gather(gathered, piece.data(), piece.size());
    expected += piece;
  }
  EXPECT_TRUE(gathered == expected);
}

TEST(Gathering, TakesAPieceThatIsLargerThanAnyStep) {
  std::string gathered(mebibyte, 'a');
  const std::string piece(70 * mebibyte, 'b');
  gather(gathered, piece.data(), piece.size());
  EXPECT_TRUE(gathered == std::string(mebibyte, 'a') + piece);
}

TEST(Gathering, ReservesFarAheadOfABigFile) {
  std::string gathered(mebibyte, 'a');
  gathered.shrink_to_fit();
  gather(gathered, "b", 1);
  EXPECT_GE(gathered.capacity(), 64 * mebibyte);
}

TEST(Gathering, ReservesNothingAheadOfASmallFile) {
  std::string gathered(1000, 'a');
  gather(gathered, "b", 1);
  EXPECT_LE(gathered.capacity(), 2002U);
}

/// Leaves the process only so much more address space.
class LimitedAddressSpace {
 public:
  explicit LimitedAddressSpace(unsigned long more) {
    unsigned long pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    ::getrlimit(RLIMIT_AS, &before_);
    const rlimit limited{pages * 4096 + more, before_.rlim_max};
    EXPECT_EQ(::setrlimit(RLIMIT_AS, &limited), 0);
  }
  LimitedAddressSpace(const LimitedAddressSpace&) = delete;
  LimitedAddressSpace& operator=(const LimitedAddressSpace&) = delete;
  ~LimitedAddressSpace() { ::setrlimit(RLIMIT_AS, &before_); }

 private:
  rlimit before_{};
};

TEST(Gathering, TakesSmallerStepsWhereTheAddressSpaceIsLimited) {
  if (testing_support::underSanitizer) GTEST_SKIP() << "a sanitizer needs the whole address space";
  const std::string piece = pieceOf(mebibyte, 7);
  const LimitedAddressSpace limited(300 * mebibyte);
  std::string gathered;
  for (int i = 0; i < 100; ++i) gather(gathered, piece.data(), piece.size());
  EXPECT_EQ(gathered.size(), 100 * mebibyte);
  EXPECT_TRUE(gathered.ends_with(piece));
}

TEST(Gathering, KeepsWhatItHasWhenThereIsNoRoomForMore) {
  if (testing_support::underSanitizer) GTEST_SKIP() << "a sanitizer needs the whole address space";
  const std::string piece = pieceOf(mebibyte, 7);
  std::string gathered(64 * mebibyte, 'a');
  gathered.shrink_to_fit();
  const LimitedAddressSpace limited(32 * mebibyte);
  EXPECT_THROW(gather(gathered, piece.data(), piece.size()), std::bad_alloc);
  EXPECT_EQ(gathered.size(), 64 * mebibyte);
  EXPECT_EQ(gathered.find_first_not_of('a'), std::string::npos);
}

}  // namespace
}  // namespace tovik::ftp
