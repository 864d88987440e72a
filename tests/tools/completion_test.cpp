#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <sstream>

#include "support/program.h"
#include "support/temp_directory.h"

namespace testing_support {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// What bash offers for the last word of a command line.
std::vector<std::string> completionsOf(const Program::Arguments& words) {
  const std::string script =
      "source \"$0\" && [[ $(complete -p ftp_fetch) == *' -F _ftp_fetch '* ]] || exit\n"
      "COMP_WORDS=(\"$@\") COMP_CWORD=$(($# - 1))\n"
      "_ftp_fetch\n"
      "(($? < 2)) && printf '%s\\n' \"${COMPREPLY[@]}\"";
  Program::Arguments command{"bash", "-c", script, COMPLETION, "ftp_fetch"};
  command.insert(command.end(), words.begin(), words.end());
  const Finished finished = finish(command);
  EXPECT_EQ(finished.exitCode, 0);
  EXPECT_EQ(finished.errors, "");
  std::vector<std::string> offered;
  std::istringstream lines(finished.output);
  for (std::string line; std::getline(lines, line);)
    if (!line.empty()) offered.push_back(line);
  return offered;
}

TEST(Completion, CompletesAnOption) {
  EXPECT_THAT(completionsOf({"--fi"}), ElementsAre("--first-byte-limit"));
  EXPECT_THAT(completionsOf({"ftp://host/", "--l"}), ElementsAre("--local", "--list"));
}

TEST(Completion, KnowsEveryOptionOfTheHelpAndNoOther) {
  const std::string help = finish({FTP_FETCH, "--help"}).output;
  const std::regex option("(?:^|\n  |,)(--?[a-z][a-z-]*)");
  std::set<std::string> inHelp;
  for (std::sregex_iterator match(help.begin(), help.end(), option); match != std::sregex_iterator(); ++match)
    inHelp.insert((*match)[1]);
  const auto offered = completionsOf({"-"});
  EXPECT_EQ(std::set<std::string>(offered.begin(), offered.end()), inHelp);
  EXPECT_TRUE(inHelp.contains("--timeout"));
}

TEST(Completion, OffersDirectoriesWhereOneIsWanted) {
  const TempDirectory here;
  here.write("directory/file", "");
  here.write("document", "");
  EXPECT_THAT(completionsOf({"-o", here / "d"}), ElementsAre(here / "directory"));
}

TEST(Completion, OffersNothingWhereItCannotKnow) {
  EXPECT_THAT(completionsOf({"ft"}), IsEmpty());
  EXPECT_THAT(completionsOf({"--timeout", ""}), IsEmpty());
}

}  // namespace
}  // namespace testing_support
