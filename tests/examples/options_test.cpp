#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

}  // namespace
}  // namespace testing_support
