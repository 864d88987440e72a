// Listings and files, with each server, in passive and in active mode.

#include <algorithm>
#include <cstdlib>
#include <tuple>
#include <vector>

#include "session_rig.h"
#include "support/sample_bytes.h"

namespace real_servers {
namespace {

using testing::StartsWith;
using testing_support::sampleBytes;

constexpr int firstByteLimitSeconds = 1;
constexpr std::size_t mebibyte = 1UL << 20U;

// In MiB; TOVIK_LARGE_FILE_MIB=256 makes a long test of it.
std::size_t largeFileSize() {
  const char* const size = std::getenv("TOVIK_LARGE_FILE_MIB");
  return (size == nullptr ? 16 : std::stoul(size)) * mebibyte;
}

class Transfer : public WithServer, public testing::WithParamInterface<std::tuple<Peer, bool>> {
 protected:
  void SetUp() override { startServer(peer().kind, peer().straysAfterFiles); }
  static const Peer& peer() { return std::get<0>(GetParam()); }
  static bool passive() { return std::get<1>(GetParam()); }
  static Refusal refusal() { return passive() ? peer().passiveRefusal : peer().activeRefusal; }

  std::unique_ptr<Session> logIn() {
    auto session = makeSession(passive());
    session->logIn();
    return session;
  }
  /// Waits for a listing that succeeds, and gives its names in order, without the directory's own entries.
  static std::vector<std::string> list(Session& session) {
    EXPECT_TRUE(session.controller().getNlst(passive()));
    EXPECT_THAT(session.client().next(), StartsWith("onNlst: "));
    auto names = session.client().names();
    if (peer().emptyListing == EmptyListing::dots) {
      EXPECT_EQ(std::erase(names, "."), 1U);
      EXPECT_EQ(std::erase(names, ".."), 1U);
    }
    std::sort(names.begin(), names.end());
    return names;
  }
};

INSTANTIATE_TEST_SUITE_P(Servers, Transfer, testing::Combine(testing::ValuesIn(peers()), testing::Bool()),
                         [](const auto& parameters) {
                           return std::get<0>(parameters.param).kind.name +
                                  (std::get<1>(parameters.param) ? "Passive" : "Active");
                         });

TEST_P(Transfer, ListsTheCurrentDirectory) {
  put("pub/one", "");
  put("pub/with blank.txt", "");
  makeDirectory("pub/directory");
  const auto session = logIn();
  session->enter("pub");
  EXPECT_EQ(list(*session), (std::vector<std::string>{"directory", "one", "with blank.txt"}));
  session->logOut();
}

TEST_P(Transfer, ListsFiveThousandNames) {
  std::vector<std::string> names;
  for (int number = 10'000; number < 15'000; ++number) names.push_back("file number " + std::to_string(number));
  // One file under all names: a disk's file system may take long to make a file where many were deleted before.
  put("file", "");
  for (const auto& name : names) link("file", "pub/" + name);
  const auto session = logIn();
  session->enter("pub");
  EXPECT_TRUE(list(*session) == names);
  session->logOut();
}

TEST_P(Transfer, ListsAnEmptyDirectoryAsTheServerHasIt) {
  const auto session = logIn();
  session->enter("pub");
  if (peer().emptyListing != EmptyListing::refused) {
    EXPECT_EQ(list(*session), std::vector<std::string>{});
    return session->logOut();
  }
  ASSERT_TRUE(session->controller().getNlst(passive()));
  ASSERT_TRUE(log().waitFor("Tovik: protocol interpreter: nlst: unknown reply 550"));
  EXPECT_EQ(session->controller().getPwd().message, "nlst still active");
}

TEST_P(Transfer, RetrievesFilesWhole) {
  const auto bytes = sampleBytes(mebibyte);
  put("pub/empty", "");
  put("pub/byte", "x");
  put("pub/with blank.bin", bytes);
  const auto session = logIn();
  session->enter("pub");
  session->expectFile("empty", "");
  session->expectFile("byte", "x");
  session->expectFile("with blank.bin", peer().delivered(bytes));
  session->logOut();
}

TEST_P(Transfer, RetrievesALargeFileWhole) {
  const auto bytes = sampleBytes(largeFileSize());
  put("large", bytes);
  const auto session = logIn();
  session->expectFile("large", peer().delivered(bytes));
  session->logOut();
}

TEST_P(Transfer, EndsARefusedFileAsTheServerEndsIt) {
  put("text", "one line\r\n");
  const auto session = makeSession(passive(), firstByteLimitSeconds);
  session->logIn();
  ASSERT_TRUE(session->controller().getFile("missing", passive()));
  ASSERT_TRUE(log().waitFor("Tovik: [FTP] 550 \"" + peer().noSuchFile + "\" "));
  if (refusal() == Refusal::neverEnding) {
    EXPECT_EQ(session->controller().getPwd().message, "retr still active");
    return;
  }
  EXPECT_EQ(session->client().next(), "onRetrieveFailed missing: " + peer().noSuchFile);
  EXPECT_EQ(log().count("Tovik: data_connection: nothing received within the time limit"),
            refusal() == Refusal::limited ? 1 : 0);
  session->expectFile("text", peer().delivered("one line\r\n"));
  session->logOut();
}

TEST_P(Transfer, RetrievesTwoHundredFiles) {
  const auto bytes = sampleBytes(4000);
  put("small", bytes);
  const auto session = logIn();
  for (int count = 0; count < 200; ++count)
    ASSERT_NO_FATAL_FAILURE(session->expectFile("small", peer().delivered(bytes))) << count;
  session->logOut();
}

TEST_P(Transfer, KeepsFiftySessionsApart) {
  std::vector<std::unique_ptr<Session>> sessions(50);
  const auto content = [](std::size_t number) { return std::string(20'000 + number, static_cast<char>('!' + number)); };
  const auto name = [](std::size_t number) { return "file" + std::to_string(number); };
  for (std::size_t number = 0; number < sessions.size(); ++number) put(name(number), content(number));
  for (auto& session : sessions) session = makeSession(passive());
  for (auto& session : sessions) ASSERT_TRUE(session->controller().start());
  for (auto& session : sessions) ASSERT_EQ(session->client().next(), "onConnected");
  for (std::size_t number = 0; number < sessions.size(); ++number)
    ASSERT_TRUE(sessions[number]->controller().getFile(name(number), passive()));
  for (std::size_t number = 0; number < sessions.size(); ++number)
    ASSERT_NO_FATAL_FAILURE(sessions[number]->expectContent(name(number), content(number)));
  for (auto& session : sessions) session->logOut();
}

}  // namespace
}  // namespace real_servers
