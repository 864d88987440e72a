#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "program.h"

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

TEST(FetchOptions, AreExplainedInLinesThatFitATerminal) {
  std::istringstream help(finish({FTP_FETCH, "--help"}).output);
  std::string first;
  std::getline(help, first);
  EXPECT_EQ(first, "Fetches the files of one directory of an FTP server.");
  for (std::string line; std::getline(help, line);) EXPECT_LE(line.size(), 80U) << line;
}

}  // namespace
}  // namespace testing_support
