#include "ftp_fetch/lines.h"

#include <gtest/gtest.h>

#include "ftp_fetch/columns.h"

namespace ftp_fetch {
namespace {

constexpr Seconds second{1};

TEST(FileLine, LinesUpWideNames) {
  EXPECT_EQ(fileLine("\u4e2d\u6587.txt", 1500, second, 10, 79), "\u4e2d\u6587.txt    1.5 kB     1.5 kB/s");
  EXPECT_EQ(fileLine("cafe\u0301.txt", 1500, second, 10, 79), "cafe\u0301.txt    1.5 kB     1.5 kB/s");
  EXPECT_EQ(fileLine("plain.text", 1500, second, 10, 79), "plain.text  1.5 kB     1.5 kB/s");
}

TEST(FileLine, HasNoRateOnANarrowTerminal) {
  EXPECT_EQ(fileLine("plain.txt", 1500, second, 9, 39), "plain.txt  1.5 kB");
}

TEST(FileLine, FitsWhateverTheNameIs) {
  const std::string name(200, 'n');
  for (std::size_t width = 12; width < 220; ++width)
    EXPECT_LE(columnsOf(fileLine(name, 999'900'000, second, 200, width)), width);
}

TEST(FileLine, IsWholeWhereNobodySetsAWidth) {
  const std::string name(200, 'n');
  EXPECT_EQ(fileLine(name, 2, second, 200, std::nullopt), name + "  2 B        2 B/s");
}

TEST(ProgressLine, IsOnlyWhatIsBeingDoneBeforeTheListing) {
  EXPECT_EQ(progressLine({0, 0, 500, second, "login at 127.0.0.1:21"}, 79), "login at 127.0.0.1:21");
}

TEST(ProgressLine, HasABarWhereThereIsRoom) {
  EXPECT_EQ(progressLine({1, 4, 1500, second, "RETR a"}, 79), "#####...............  1/4  1.5 kB  1.5 kB/s  RETR a");
  EXPECT_EQ(progressLine({1, 4, 1500, second, "RETR a"}, 39), "1/4  1.5 kB  1.5 kB/s  RETR a");
}

TEST(ProgressLine, FitsAtEveryWidth) {
  const Progress progress{49'999, 50'000, 123.4e6, second, "RETR " + std::string(100, 'n')};
  for (std::size_t width = 0; width < 200; ++width) EXPECT_LE(columnsOf(progressLine(progress, width)), width);
}

TEST(SummaryLine, GoesWithoutTheRateWhereItWouldNotFit) {
  EXPECT_EQ(summaryLine(1, 2, 1500, second, 39), "1 of 2 files, 1.5 kB, 1.5 kB/s");
  EXPECT_EQ(summaryLine(99'999, 99'999, 123.4e6, second, 39), "99999 of 99999 files, 123.4 MB");
  EXPECT_EQ(summaryLine(99'999, 99'999, 123.4e6, second, std::nullopt), "99999 of 99999 files, 123.4 MB, 123.4 MB/s");
}

}  // namespace
}  // namespace ftp_fetch
