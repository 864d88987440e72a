#include "command_line/help.h"

#include <gtest/gtest.h>

namespace command_line {
namespace {

TEST(WrappedText, IsBrokenAtTheLastBlankThatFits) {
  EXPECT_EQ(wrapped("one two three", 7, 0), "one two\nthree");
  EXPECT_EQ(wrapped("one two three", 6, 0), "one\ntwo\nthree");
  EXPECT_EQ(wrapped("one two three", 13, 0), "one two three");
}

TEST(WrappedText, KeepsItsOwnLineEnds) {
  EXPECT_EQ(wrapped("one two\n\nthree\n", 7, 2), "one two\n\n  three\n");
  EXPECT_EQ(wrapped("one\ntwo three", 7, 0), "one\ntwo\nthree");
  EXPECT_EQ(wrapped("", 7, 2), "");
}

TEST(WrappedText, StandsBehindItsIndentFromTheSecondLineOn) {
  EXPECT_EQ(wrapped("one two six", 4, 3), "one\n   two\n   six");
}

TEST(WrappedText, IsCutWithinAWordThatNoLineTakes) {
  EXPECT_EQ(wrapped("a ftp://host/directory b", 10, 0), "a\nftp://host\n/directory\nb");
}

}  // namespace
}  // namespace command_line
