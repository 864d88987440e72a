#include "ftp_serve/file_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/temp_directory.h"

namespace ftp_serve {
namespace {

using testing_support::TempDirectory;

class FileTreeTest : public testing::Test {
 protected:
  FileTreeTest() {
    directory.write("root/dir/file", "inside");
    directory.write("secret", "outside");
    EXPECT_TRUE(tree.open(directory / "root"));
  }

  void link(const std::string& target, const std::string& name) const {
    std::filesystem::create_symlink(target, directory.path() / "root" / name);
  }

  std::string read(const std::string& path) const {
    FileTree::File file;
    const tovik::Result opened = tree.openFile(path, file);
    if (!opened) return opened.message;
    std::string content(file.size, '\0');
    EXPECT_EQ(::read(file.descriptor.number(), content.data(), content.size()), static_cast<ssize_t>(file.size));
    return content;
  }

  std::string check(const std::string& path) const { return tree.checkDirectory(path).message; }

  std::string list(const std::string& path, const std::string& prefix = "") const {
    std::string listing;
    const tovik::Result listed = tree.list(path, prefix, listing);
    return listed ? listing : listed.message;
  }

  const TempDirectory directory;
  FileTree tree;
};

TEST_F(FileTreeTest, OpensAFile) { EXPECT_EQ(read("/dir/file"), "inside"); }

TEST_F(FileTreeTest, FollowsALinkThatStaysInside) {
  link("dir/file", "link");
  link("../root/dir", "circuit");
  EXPECT_EQ(read("/link"), "inside");
}

TEST_F(FileTreeTest, DoesNotFollowALinkThatLeadsOut) {
  link("../secret", "relative");
  link(directory / "secret", "absolute");
  link("..", "parent");
  EXPECT_EQ(read("/relative"), "/relative: No such file or directory");
  EXPECT_EQ(read("/absolute"), "/absolute: No such file or directory");
  EXPECT_EQ(read("/parent/secret"), "/parent/secret: No such file or directory");
  EXPECT_EQ(check("/parent"), "/parent: No such file or directory");
  EXPECT_EQ(list("/parent"), "/parent: No such file or directory");
}

TEST_F(FileTreeTest, RefusesDotsThatNobodyResolved) {
  EXPECT_EQ(read("/../secret"), "/../secret: No such file or directory");
}

TEST_F(FileTreeTest, OpensPlainFilesOnly) {
  ASSERT_EQ(::mkfifo((directory / "root/pipe").c_str(), 0600), 0);
  EXPECT_EQ(read("/pipe"), "/pipe: Not a regular file");
  EXPECT_EQ(read("/dir"), "/dir: Not a regular file");
}

TEST_F(FileTreeTest, SaysWhatIsMissing) {
  EXPECT_EQ(read("/nothing"), "/nothing: No such file or directory");
  EXPECT_EQ(check("/nothing"), "/nothing: No such file or directory");
  EXPECT_EQ(check("/dir/file"), "/dir/file: Not a directory");
  EXPECT_EQ(read(std::string("/dir\0/file", 10)), std::string("/dir\0/file", 10) + ": No such file or directory");
}

TEST_F(FileTreeTest, ListsNamesInOrderWithCrLf) {
  directory.write("root/dir/b c", "");
  directory.write("root/dir/.hidden", "");
  EXPECT_EQ(list("/dir"), ".hidden\r\nb c\r\nfile\r\n");
  EXPECT_EQ(list("/"), "dir\r\n");
  EXPECT_EQ(list("/dir", "dir/"), "dir/.hidden\r\ndir/b c\r\ndir/file\r\n");
}

TEST_F(FileTreeTest, LeavesNamesOutThatWouldReadAsTwo) {
  directory.write("root/two\nlines", "");
  directory.write("root/return\r", "");
  EXPECT_EQ(list("/"), "dir\r\n");
}

TEST_F(FileTreeTest, ListsAnEmptyDirectoryAsNothing) {
  std::filesystem::create_directory(directory.path() / "root/empty");
  EXPECT_EQ(list("/empty"), "");
}

TEST_F(FileTreeTest, NeedsADirectoryAsItsRoot) {
  FileTree other;
  EXPECT_THAT(other.open(directory / "nothing").message, testing::EndsWith("No such file or directory"));
  EXPECT_THAT(other.open(directory / "secret").message, testing::EndsWith("Not a directory"));
}

}  // namespace
}  // namespace ftp_serve
