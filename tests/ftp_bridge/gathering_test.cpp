#include "ftp_bridge/gathering.h"

#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/resource.h>

#include <cstdint>
#include <fstream>
#include <new>
#include <sstream>
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

/// Whether the text is that many copies of the piece.
bool isSeveral(const std::string& gathered, const std::string& piece, unsigned long count) {
  if (gathered.size() != count * piece.size()) return false;
  for (unsigned long at = 0; at < gathered.size(); at += piece.size())
    if (gathered.compare(at, piece.size(), piece) != 0) return false;
  return true;
}

TEST(Gathering, TakesSmallerStepsWhereTheAddressSpaceIsLimited) {
  if (testing_support::underSanitizer) GTEST_SKIP() << "a sanitizer needs the whole address space";
  const std::string piece = pieceOf(mebibyte, 7);
  const LimitedAddressSpace limited(300 * mebibyte);
  std::string gathered;
  for (int i = 0; i < 100; ++i) gather(gathered, piece.data(), piece.size());
  EXPECT_TRUE(isSeveral(gathered, piece, 100));
}

TEST(Gathering, KeepsItsBytesWhenMemoryRunsOut) {
  if (testing_support::underSanitizer) GTEST_SKIP() << "a sanitizer needs the whole address space";
  const std::string piece = pieceOf(mebibyte, 7);
  std::string gathered(64 * mebibyte, 'a');
  gathered.shrink_to_fit();
  const LimitedAddressSpace limited(32 * mebibyte);
  EXPECT_THROW(gather(gathered, piece.data(), piece.size()), std::bad_alloc);
  EXPECT_EQ(gathered.size(), 64 * mebibyte);
  EXPECT_EQ(gathered.find_first_not_of('a'), std::string::npos);
}

/// The VmFlags of the mapping that holds an address, from /proc/self/smaps.
std::string adviceFor(const char* address) {
  const auto wanted = reinterpret_cast<std::uintptr_t>(address);
  std::ifstream maps("/proc/self/smaps");
  bool found = false;
  for (std::string line; std::getline(maps, line);) {
    std::istringstream text(line);
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
    char dash = ' ';
    if (text >> std::hex >> begin >> dash >> end && dash == '-') found = begin <= wanted && wanted < end;
    if (found && line.starts_with("VmFlags:")) return line;
  }
  return "no mapping";
}

bool isAdvisedHugePages(const char* address) { return adviceFor(address).find(" hg") != std::string::npos; }

bool hasHugePages() { return std::ifstream("/sys/kernel/mm/transparent_hugepage/enabled").is_open(); }

/// A string of that capacity in a mapping of its own, without any advice so far.
std::string freshOf(unsigned long size) {
  ::mallopt(M_MMAP_THRESHOLD, 128 << 10);
  std::string fresh(size, 'a');
  fresh.shrink_to_fit();
  return fresh;
}

TEST(GatheredString, HasHugePagesAdvisedForAllItsRoomBeyondAMebibyte) {
  if (!hasHugePages()) GTEST_SKIP() << "this kernel has no transparent huge pages";
  std::string gathered = freshOf(mebibyte);
  ASSERT_FALSE(isAdvisedHugePages(gathered.data()));
  gather(gathered, "b", 1);
  // The first and the last page may hold other data too.
  constexpr unsigned long page = 4096;
  for (const unsigned long at : {page, mebibyte, gathered.capacity() / 2, gathered.capacity() - 2 * page})
    EXPECT_TRUE(isAdvisedHugePages(gathered.data() + at)) << at << ": " << adviceFor(gathered.data() + at);
}

TEST(GatheredString, HasHugePagesAdvisedAfterEachGrowth) {
  if (!hasHugePages()) GTEST_SKIP() << "this kernel has no transparent huge pages";
  std::string gathered = freshOf(mebibyte);
  gather(gathered, "b", 1);
  const unsigned long before = gathered.capacity();
  const std::string rest(before, 'c');
  gather(gathered, rest.data(), rest.size());
  ASSERT_GT(gathered.capacity(), before);
  EXPECT_TRUE(isAdvisedHugePages(gathered.data() + gathered.capacity() / 2));
}

TEST(GatheredString, HasHugePagesAdvisedWhereTheAddressSpaceIsLimited) {
  if (testing_support::underSanitizer) GTEST_SKIP() << "a sanitizer needs the whole address space";
  if (!hasHugePages()) GTEST_SKIP() << "this kernel has no transparent huge pages";
  std::string gathered = freshOf(40 * mebibyte);
  const LimitedAddressSpace limited(100 * mebibyte);
  gather(gathered, "b", 1);
  ASSERT_LT(gathered.capacity(), 100 * mebibyte);
  EXPECT_TRUE(isAdvisedHugePages(gathered.data() + mebibyte));
}

TEST(GatheredString, HasNoHugePagesAdvisedBelowAMebibyte) {
  if (!hasHugePages()) GTEST_SKIP() << "this kernel has no transparent huge pages";
  std::string gathered = freshOf(mebibyte / 2 - 1);
  gather(gathered, "b", 1);  // grows
  gather(gathered, "b", 1);
  ASSERT_LT(gathered.capacity(), mebibyte);
  EXPECT_FALSE(isAdvisedHugePages(gathered.data() + gathered.capacity() / 2));
}

// The last resort was refused, too: a string's own growth doubles it at least.
TEST(Gathering, ReservesOnlyWhatItNeedsWhenNoStepFits) {
  if (testing_support::underSanitizer) GTEST_SKIP() << "a sanitizer needs the whole address space";
  std::string gathered = freshOf(64 * mebibyte);
  // Twice its size is not to be had, and a copy of it is.
  const LimitedAddressSpace limited(100 * mebibyte);
  gather(gathered, "b", 1);
  EXPECT_EQ(gathered.size(), 64 * mebibyte + 1);
  EXPECT_EQ(gathered.find_first_not_of('a'), 64 * mebibyte);
  EXPECT_LT(gathered.capacity(), 100 * mebibyte);
}

}  // namespace
}  // namespace tovik::ftp
