#include "ftp_fetch/directory_writer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/sample_bytes.h"
#include "support/temp_directory.h"

namespace ftp_fetch {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using testing_support::sampleBytes;
using testing_support::TempDirectory;

TEST(DirectoryWriter, StoresAFileByteForByte) {
  const TempDirectory directory;
  DirectoryWriter writer;
  ASSERT_TRUE(writer.open(directory.path()));
  const std::string bytes = sampleBytes(300'000);
  EXPECT_TRUE(writer.store("a b", bytes).result);
  EXPECT_TRUE(writer.store("empty", "").result);
  EXPECT_THAT(directory.names(), ElementsAre("a b", "empty"));
  EXPECT_EQ(directory.read("a b"), bytes);
}

TEST(DirectoryWriter, MakesItsDirectory) {
  const TempDirectory directory;
  DirectoryWriter writer;
  ASSERT_TRUE(writer.open(directory / "new/one"));
  EXPECT_TRUE(writer.store("a", "1").result);
  EXPECT_EQ(directory.read("new/one/a"), "1");
}

TEST(DirectoryWriter, CannotMakeADirectoryWhereAFileIs) {
  const TempDirectory directory;
  directory.write("taken", "");
  DirectoryWriter writer;
  const tovik::Result opened = writer.open(directory / "taken");
  EXPECT_FALSE(opened);
  EXPECT_THAT(opened.message, StartsWith(directory / "taken"));
}

TEST(DirectoryWriter, ReplacesAFileThatIsThere) {
  const TempDirectory directory;
  directory.write("a", "old and longer");
  DirectoryWriter writer;
  ASSERT_TRUE(writer.open(directory.path()));
  EXPECT_TRUE(writer.store("a", "new").result);
  EXPECT_EQ(directory.read("a"), "new");
}

TEST(DirectoryWriter, ReplacesALinkAndNotWhatItPointsTo) {
  const TempDirectory directory;
  directory.write("elsewhere", "mine");
  std::filesystem::create_symlink(directory / "elsewhere", directory.path() / "a");
  DirectoryWriter writer;
  ASSERT_TRUE(writer.open(directory.path()));
  EXPECT_TRUE(writer.store("a", "theirs").result);
  EXPECT_EQ(directory.read("elsewhere"), "mine");
  EXPECT_EQ(directory.read("a"), "theirs");
}

TEST(DirectoryWriter, LeavesNothingBehindWhenAFileCannotTakeItsName) {
  const TempDirectory directory;
  std::filesystem::create_directory(directory.path() / "taken");
  DirectoryWriter writer;
  ASSERT_TRUE(writer.open(directory.path()));
  const DirectoryWriter::Stored stored = writer.store("taken", "1");
  EXPECT_FALSE(stored.result);
  EXPECT_FALSE(stored.directoryFailed);
  EXPECT_THAT(stored.result.message, StartsWith("rename: "));
  EXPECT_THAT(directory.names(), ElementsAre("taken"));
}

TEST(DirectoryWriter, SaysThatItsDirectoryFailedWhenItIsGone) {
  const TempDirectory directory;
  DirectoryWriter writer;
  ASSERT_TRUE(writer.open(directory / "here"));
  std::filesystem::remove(directory / "here");
  const DirectoryWriter::Stored stored = writer.store("a", "1");
  EXPECT_TRUE(stored.directoryFailed);
  EXPECT_EQ(stored.result.message, directory / "here" + ": No such file or directory");
}

TEST(DirectoryWriter, MakesFilesThatTheUmaskAllows) {
  const TempDirectory directory;
  const mode_t before = ::umask(027);
  DirectoryWriter writer;
  ASSERT_TRUE(writer.open(directory.path()));
  EXPECT_TRUE(writer.store("a", "1").result);
  ::umask(before);
  struct stat status {};
  ASSERT_EQ(::stat((directory / "a").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0640U);
}

}  // namespace
}  // namespace ftp_fetch
