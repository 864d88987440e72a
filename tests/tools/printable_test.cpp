#include "ftp_fetch/printable.h"

#include <gtest/gtest.h>

namespace ftp_fetch {
namespace {

TEST(Printable, KeepsWhatOnlyPrints) {
  for (const char* const text : {"", "a b~", "\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x98\x80", "\xc2\xa0"})
    EXPECT_EQ(printable(text), text);
}

TEST(Printable, WritesControlCharactersOut) {
  EXPECT_EQ(printable("a\x1b[2Jb\n\x7f"), "a\\x1b[2Jb\\x0a\\x7f");
  EXPECT_EQ(printable(std::string_view("\0", 1)), "\\x00");
}

TEST(Printable, WritesTheSecondSetOfControlCharactersOut) {
  EXPECT_EQ(printable("\xc2\x9b"
                      "31m"),
            "\\xc2\\x9b31m");
}

/// "gpj.exe" with its letters turned would read as a picture's name.
TEST(Printable, WritesOutWhatTurnsTheDirectionOfWritingOrEndsALine) {
  EXPECT_EQ(printable("\u202egpj.exe"), "\\xe2\\x80\\xaegpj.exe");
  EXPECT_EQ(printable("\u2066"), "\\xe2\\x81\\xa6");
  EXPECT_EQ(printable("\u2028"), "\\xe2\\x80\\xa8");
  EXPECT_EQ(printable("\u2026\u205f\u206a"), "\u2026\u205f\u206a");
}

TEST(Printable, WritesBytesOutThatAreNotUtf8) {
  EXPECT_EQ(printable("\x9b"
                      "1"),
            "\\x9b1");
  EXPECT_EQ(printable("a\xc3"), "a\\xc3");
  EXPECT_EQ(printable("\xe2\x82"
                      "a"),
            "\\xe2\\x82a");
  EXPECT_EQ(printable("\xff"), "\\xff");
}

TEST(HumanSize, HasAUnitThatFits) {
  EXPECT_EQ(humanSize(0), "0 B");
  EXPECT_EQ(humanSize(999), "999 B");
  EXPECT_EQ(humanSize(1000), "1.0 kB");
  EXPECT_EQ(humanSize(1550), "1.6 kB");
  EXPECT_EQ(humanSize(64e6), "64.0 MB");
  EXPECT_EQ(humanSize(999.96e6), "1.0 GB");
  EXPECT_EQ(humanSize(5e15), "5000.0 TB");
}

}  // namespace
}  // namespace ftp_fetch
