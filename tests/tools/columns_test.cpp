#include "ftp_fetch/columns.h"

#include <gtest/gtest.h>

namespace ftp_fetch {
namespace {

TEST(Columns, AreTwoForWideCharactersAndNoneForCombiningOnes) {
  EXPECT_EQ(columnsOf(""), 0U);
  EXPECT_EQ(columnsOf("plain"), 5U);
  EXPECT_EQ(columnsOf("caf\u00e9"), 4U);
  EXPECT_EQ(columnsOf("cafe\u0301"), 4U);
  EXPECT_EQ(columnsOf("\u4e2d\u6587.txt"), 8U);
  EXPECT_EQ(columnsOf("\U0001F600"), 2U);
}

TEST(Columns, ArePaddedAsTheTerminalCountsThem) {
  EXPECT_EQ(paddedTo(6, "\u4e2d\u6587"), "\u4e2d\u6587  ");
  EXPECT_EQ(paddedTo(6, "e\u0301"), "e\u0301     ");
  EXPECT_EQ(paddedTo(3, "longer"), "longer");
}

TEST(Shortened, IsTheTextWhereItFits) {
  EXPECT_EQ(shortened("report.csv", 10), "report.csv");
  EXPECT_EQ(shortened("", 0), "");
}

TEST(Shortened, KeepsHeadAndTail) {
  EXPECT_EQ(shortened("report-2026.csv", 9), "repo\u2026.csv");
  EXPECT_EQ(shortened("report-2026.csv", 2), "r\u2026");
  EXPECT_EQ(shortened("report-2026.csv", 1), "\u2026");
  EXPECT_EQ(shortened("report-2026.csv", 0), "");
}

TEST(Shortened, NeverCutsACharacterAndNeverTakesMoreThanItMay) {
  const std::string name = "\u65e5\u672c\u8a9e\u306e-cafe\u0301-\u540d\u524de\u0301";
  for (std::size_t columns = 1; columns < columnsOf(name); ++columns) {
    const std::string text = shortened(name, columns);
    EXPECT_LE(columnsOf(text), columns) << text;
    EXPECT_GE(columnsOf(text) + 2, columns) << text;
  }
  EXPECT_EQ(shortened("\u65e5\u672c\u8a9e\u306e", 6), "\u65e5\u2026\u306e");
  EXPECT_EQ(shortened("abcde\u0301", 3), "a\u2026e\u0301");
  EXPECT_EQ(shortened("abcd\u0301e", 3), "a\u2026e");
}

}  // namespace
}  // namespace ftp_fetch
