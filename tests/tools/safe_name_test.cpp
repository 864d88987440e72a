#include "ftp_fetch/safe_name.h"

#include <gtest/gtest.h>

namespace ftp_fetch {
namespace {

using namespace std::string_view_literals;

TEST(SafeName, IsAnyPlainFileName) {
  for (const auto name :
       {"a"sv, "a b"sv, " a "sv, "..."sv, "..a"sv, ".hidden"sv, "-o"sv, "\xc3\xa9"sv, "a\tb"sv, "a\\b"sv})
    EXPECT_EQ(whyUnsafe(name), nullptr) << name;
}

TEST(SafeName, HoldsNoSlash) {
  for (const auto name : {"a/b"sv, "/a"sv, "a/"sv, "../a"sv, "/"sv})
    EXPECT_STREQ(whyUnsafe(name), "the name contains a slash; directories belong in the URL") << name;
}

TEST(SafeName, IsNotADirectoryOfTheParents) {
  EXPECT_STREQ(whyUnsafe("."), "not the name of a file");
  EXPECT_STREQ(whyUnsafe(".."), "not the name of a file");
}

TEST(SafeName, HoldsNoNul) { EXPECT_STREQ(whyUnsafe("a\0b"sv), "the name contains a NUL"); }

TEST(SafeName, HoldsNoLineEnd) {
  for (const auto name : {"a\r"sv, "\na"sv, "a\r\nDELE b"sv})
    EXPECT_STREQ(whyUnsafe(name), "the name contains a line end");
}

TEST(SafeName, IsNotEmpty) { EXPECT_STREQ(whyUnsafe(""), "the name is empty"); }

}  // namespace
}  // namespace ftp_fetch
