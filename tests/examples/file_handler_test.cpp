#include "log_handlers/file_handler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <system_error>
#include <thread>

#include "log_handlers/json_line.h"
#include "log_handlers/text_line.h"
#include "support/temp_directory.h"

namespace log_handlers {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::ThrowsMessage;

qk::logging::Record recordOf(const std::string& text) {
  return {qk::logging::LogLevel::Warning,
          0,
          1,
          nullptr,
          "source/conduit.cpp",
          12,
          text,
          "",
          std::chrono::system_clock::time_point(std::chrono::microseconds(1'000'000'000'000'007))};
}

class FileHandlerTest : public testing::Test {
 protected:
  const testing_support::TempDirectory directory;
  const std::string path = directory / "log";
};

TEST_F(FileHandlerTest, AppendsALineForEachRecordToWhatIsThere) {
  directory.write("log", "from before\n");
  const FileHandler handler(path, textLine);
  handler(recordOf("one"));
  handler(recordOf("two"));
  EXPECT_EQ(directory.read("log"),
            "from before\n2001-09-09T01:46:40.000007Z [30] conduit.cpp:12 one\n"
            "2001-09-09T01:46:40.000007Z [30] conduit.cpp:12 two\n");
}

TEST_F(FileHandlerTest, TakesWhatTheLogEmitsUntilItIsRemoved) {
  const auto id = qk::logging::AddHandler(FileHandler(path, jsonLine));
  QK_LOG(qk::logging::LogLevel::Warning) << "said " << 1 << " \"thing\"";
  EXPECT_TRUE(qk::logging::RemoveHandler(id));
  const std::string once = directory.read("log");
  EXPECT_THAT(once, EndsWith("\"text\":\"said 1 \\\"thing\\\"\"}\n"));
}

TEST_F(FileHandlerTest, LetsOnlyItsOwnerReadTheFile) {
  const FileHandler handler(path, textLine);
  struct stat found {};
  ASSERT_EQ(::stat(path.c_str(), &found), 0);
  EXPECT_EQ(found.st_mode & 0077U, 0U);
}

TEST_F(FileHandlerTest, KeepsTheLinesOfSeveralThreadsWhole) {
  constexpr int threads = 4;
  constexpr int records = 500;
  const FileHandler handler(path, [](const qk::logging::Record& record) { return record.text + "\n"; });
  std::vector<std::thread> all;
  for (int i = 0; i < threads; ++i)
    all.emplace_back([&, text = std::string(300, static_cast<char>('a' + i))] {
      for (int j = 0; j < records; ++j) handler(recordOf(text));
    });
  for (auto& thread : all) thread.join();
  const std::string file = directory.read("log");
  EXPECT_EQ(file.size(), std::size_t{threads} * records * 301);
  for (std::size_t begin = 0; begin < file.size(); begin += 301)
    ASSERT_EQ(file.substr(begin, 301), std::string(300, file[begin]) + "\n");
}

TEST_F(FileHandlerTest, TellsWhichFileCannotBeOpenedOrWritten) {
  const std::string nowhere = directory / "no/log";
  EXPECT_THAT([&] { FileHandler(nowhere, textLine); }, ThrowsMessage<std::system_error>(HasSubstr(nowhere)));
  const FileHandler full("/dev/full", textLine);
  EXPECT_THAT([&] { full(recordOf("any")); }, ThrowsMessage<std::system_error>(HasSubstr("/dev/full: No space left")));
}

TEST(TextLine, ShowsWhatWouldFakeALineOrDriveATerminal) {
  qk::logging::Record record = recordOf("a\r\nb\x1b[2J \xc2\x9b \x7f \xff \xc3\xa9");
  record.extra = "more\n";
  EXPECT_EQ(textLine(record),
            "2001-09-09T01:46:40.000007Z [30] conduit.cpp:12 "
            "a\\x0d\\x0ab\\x1b[2J \\xc2\\x9b \\x7f \\xff \xc3\xa9 | more\\x0a\n");
}

}  // namespace
}  // namespace log_handlers
