#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>

#include "support/program.h"

namespace testing_support {
namespace {

class ProgramOptions : public testing::TestWithParam<const char*> {
 protected:
  const std::string path = GetParam();
  const std::string name = path.substr(path.rfind('/') + 1);
};

INSTANTIATE_TEST_SUITE_P(, ProgramOptions, testing::Values(FTP_FETCH, FTP_SERVE), [](const auto& program) {
  const std::string path = program.param;
  return path.substr(path.rfind('/') + 1);
});

TEST_P(ProgramOptions, SayTheVersion) {
  const Finished finished = finish({path, "--version"});
  EXPECT_EQ(finished.exitCode, 0);
  EXPECT_EQ(finished.output, name + " " + VERSION + "\n");
  EXPECT_EQ(finished.errors, "");
}

std::size_t longestLineIn(const std::string& text) {
  std::size_t longest = 0;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) longest = std::max(longest, line.find_last_not_of('\r') + 1);
  return longest;
}

TEST_P(ProgramOptions, AreExplainedInLinesThatFitTheTerminal) {
  if (const char* const missing = TerminalProgram::missing()) GTEST_SKIP() << missing;
  for (const unsigned columns : {40U, 80U, 200U}) {
    TerminalProgram program({path, "--help"}, static_cast<unsigned short>(columns));
    EXPECT_EQ(program.wait(), 0);
    EXPECT_THAT(program.shown(), testing::HasSubstr("Print this help message and exit\r\n"));
    EXPECT_LE(longestLineIn(program.shown()), std::min(columns, 80U)) << program.shown();
  }
}

TEST_P(ProgramOptions, AreExplainedInLinesOf80ColumnsWhereThereIsNoTerminal) {
  const std::string help = finish({path, "--help"}).output;
  EXPECT_THAT(help, testing::HasSubstr("\n  -h,--help                  Print this help message and exit\n"));
  EXPECT_LE(longestLineIn(help), 80U);
  EXPECT_GT(longestLineIn(help), 70U);
}

}  // namespace
}  // namespace testing_support
