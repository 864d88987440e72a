#include <gtest/gtest.h>

#include "ftp_serve/command.h"
#include "ftp_serve/file_tree.h"
#include "ftp_serve/host_port.h"

namespace ftp_serve {
namespace {

TEST(Command, IsAVerbAndTheRestOfItsLine) {
  const Command command = parseCommand("retr  a b \r\n");
  EXPECT_EQ(command.verb, "RETR");
  EXPECT_EQ(command.argument, " a b ");
}

TEST(Command, NeedsNoArgument) {
  EXPECT_EQ(parseCommand("Pasv\r\n").verb, "PASV");
  EXPECT_EQ(parseCommand("PASV\r\n").argument, "");
  EXPECT_EQ(parseCommand("\r\n").verb, "");
}

TEST(Command, LosesTheOptionsOfAListing) {
  EXPECT_EQ(withoutOptions(""), "");
  EXPECT_EQ(withoutOptions("-a"), "");
  EXPECT_EQ(withoutOptions("-a -l  a b"), "a b");
  EXPECT_EQ(withoutOptions("a -l"), "a -l");
}

TEST(HostPort, IsSixNumbers) {
  EXPECT_EQ(parseHostPort("127,0,0,1,8,73")->printInet(), "127.0.0.1:2121");
  EXPECT_EQ(parseHostPort("255,255,255,255,255,255")->printInet(), "255.255.255.255:65535");
}

TEST(HostPort, IsNothingElse) {
  for (const char* const text : {"", "127,0,0,1", "127,0,0,1,8", "127,0,0,1,8,", "127,0,0,1,8,73,1", "127,0,0,1,8,256",
                                 "256,0,0,1,8,73", "127,,0,1,8,73", "127,0,0,1,8,-1", "127,0,0,1,8, 73",
                                 "127,0,0,1,8,73 ", "a,0,0,1,8,73", "127,0,0,1,0,0", "127,0,0,1,8,99999999999"})
    EXPECT_FALSE(parseHostPort(text)) << text;
}

TEST(HostPort, IsPrintedAsItIsRead) {
  EXPECT_EQ(printHostPort(*parseHostPort("10,0,200,5,255,1")), "10,0,200,5,255,1");
}

TEST(HostPort, IsOfTheSameHostWhateverThePort) {
  EXPECT_TRUE(isSameHost(*parseHostPort("10,0,0,5,1,1"), *parseHostPort("10,0,0,5,2,2")));
  EXPECT_FALSE(isSameHost(*parseHostPort("10,0,0,5,1,1"), *parseHostPort("10,0,0,6,1,1")));
}

TEST(Path, IsSeenFromTheDirectory) {
  EXPECT_EQ(FileTree::resolve("/", "a"), "/a");
  EXPECT_EQ(FileTree::resolve("/a/b", "c d"), "/a/b/c d");
  EXPECT_EQ(FileTree::resolve("/a/b", "/c"), "/c");
  EXPECT_EQ(FileTree::resolve("/a", ""), "/a");
}

TEST(Path, HasNoDotsAndNoEmptyParts) {
  EXPECT_EQ(FileTree::resolve("/a/b", "../c"), "/a/c");
  EXPECT_EQ(FileTree::resolve("/a", "./b/./c/"), "/a/b/c");
  EXPECT_EQ(FileTree::resolve("/a", "b//c"), "/a/b/c");
  EXPECT_EQ(FileTree::resolve("/a", "..."), "/a/...");
}

TEST(Path, NeverLeadsAboveTheRoot) {
  EXPECT_EQ(FileTree::resolve("/", ".."), "/");
  EXPECT_EQ(FileTree::resolve("/a", "../../../etc/passwd"), "/etc/passwd");
  EXPECT_EQ(FileTree::resolve("/a", "/.."), "/");
}

}  // namespace
}  // namespace ftp_serve
