#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ftp_fetch/statistics.h"

namespace ftp_fetch {
namespace {

using std::chrono::microseconds;
using testing::ElementsAre;

SessionStatistics session(unsigned number, unsigned long long begun, unsigned long long bytes_in,
                          std::chrono::nanoseconds longest) {
  SessionStatistics made;
  made.number = number;
  made.worker.connections = {begun, begun - 1, begun - 3, 1, 1, bytes_in, 700};
  made.worker.wake_ups = 10 * begun;
  made.worker.longest_handler = longest;
  return made;
}

std::string lastLineFor(std::chrono::nanoseconds longest) {
  return statisticsLines({session(1, 12, 1, longest)}, std::nullopt).back();
}

TEST(StatisticsLines, OfOneSessionAreAListWithTheFiguresInAColumn) {
  EXPECT_THAT(statisticsLines({session(1, 12, 64'000'000, microseconds(1234))}, std::nullopt),
              ElementsAre("connections          12",  //
                          "connected            11",  //
                          "ended by the server   9",  //
                          "ended by this side    1",  //
                          "failed                1",  //
                          "received        64.0 MB",  //
                          "sent              700 B",  //
                          "wake-ups            120",  //
                          "longest handler  1.2 ms"));
}

TEST(StatisticsLines, OfSeveralSessionsAreTheirSumAndALineForEach) {
  const std::vector<SessionStatistics> sessions{session(1, 12, 64'000'000, microseconds(900)),
                                                session(3, 5, 4'000, microseconds(2'000))};
  EXPECT_THAT(statisticsLines(sessions, std::nullopt),
              ElementsAre("sessions              2",  //
                          "connections          17",  //
                          "connected            15",  //
                          "ended by the server  11",  //
                          "ended by this side    2",  //
                          "failed                2",  //
                          "received        64.0 MB",  //
                          "sent             1.4 kB",  //
                          "wake-ups            170",  //
                          "longest handler  2.0 ms",  //
                          "",                         //
                          "session  connections  received   sent  wake-ups  longest handler  failed",
                          "      1           12   64.0 MB  700 B       120           900 us       1",
                          "      3            5    4.0 kB  700 B        50           2.0 ms       1"));
}

TEST(StatisticsLines, LeaveOutTheColumnsThatDoNotFit) {
  const std::vector<SessionStatistics> sessions(2, session(1, 12, 64'000'000, microseconds(900)));
  const auto headIn = [&](std::size_t width) { return statisticsLines(sessions, width).at(11); };
  EXPECT_EQ(headIn(72), "session  connections  received   sent  wake-ups  longest handler  failed");
  EXPECT_EQ(headIn(71), "session  connections  received   sent  wake-ups  longest handler");
  EXPECT_EQ(headIn(37), "session  connections  received   sent");
  EXPECT_EQ(headIn(36), "session  connections  received");
  EXPECT_EQ(headIn(10), "session  connections  received");
}

TEST(StatisticsLines, ShowTimesInTheUnitThatSuitsThem) {
  EXPECT_EQ(lastLineFor(std::chrono::nanoseconds(400)), "longest handler   0 us");
  EXPECT_EQ(lastLineFor(microseconds(999)), "longest handler  999 us");
  EXPECT_EQ(lastLineFor(std::chrono::nanoseconds(999'600)), "longest handler  1.0 ms");
  EXPECT_EQ(lastLineFor(microseconds(999'900)), "longest handler  999.9 ms");
  EXPECT_EQ(lastLineFor(microseconds(1'500'000)), "longest handler  1.5 s");
}

}  // namespace
}  // namespace ftp_fetch
