#include <gmock/gmock.h>
#include <qk/logging/logging.h>

#include <thread>

#include "grouping_locale.h"
#include "record_collector.h"

namespace qk::logging {
namespace {

using ::testing::ElementsAre;

constexpr int million = 1'234'567;

void logNumbers() { QK_LOG(LogLevel::Warning) << million << ' ' << 0.5; }

int logsAMillionInside() {
  QK_LOG(LogLevel::Warning) << "inside " << million;
  return million;
}

// Numbers in log texts followed the host's global locale: "1.234.567 bytes".
TEST(GroupingGlobalLocale, DoesNotChangeTheNumbersOfAThreadsFirstRecord) {
  const GlobalLocale global(groupingLocale());
  const RecordCollector collector;
  std::thread(logNumbers).join();
  EXPECT_THAT(collector.texts(), ElementsAre("1234567 0.5"));
}

TEST(GroupingGlobalLocale, DoesNotChangeTheNumbersOfLaterRecords) {
  const GlobalLocale global(groupingLocale());
  const RecordCollector collector;
  std::thread([] {
    logNumbers();
    logNumbers();
  }).join();
  logNumbers();
  logNumbers();
  EXPECT_THAT(collector.texts(), ElementsAre("1234567 0.5", "1234567 0.5", "1234567 0.5", "1234567 0.5"));
}

TEST(GroupingGlobalLocale, DoesNotChangeTheNumbersOfNestedStatements) {
  const GlobalLocale global(groupingLocale());
  const RecordCollector collector;
  QK_LOG(LogLevel::Warning) << million << ' ' << logsAMillionInside() << ' ' << million;
  logNumbers();
  EXPECT_THAT(collector.texts(), ElementsAre("inside 1234567", "1234567 1234567 1234567", "1234567 0.5"));
}

TEST(GroupingGlobalLocale, DoesNotChangeTheNumbersOfTheRecordInWhichItIsSet) {
  const RecordCollector collector;
  const auto logsInside = [] {
    const GlobalLocale global(groupingLocale());
    return logsAMillionInside();
  };
  QK_LOG(LogLevel::Warning) << logsInside() << ' ' << million;
  EXPECT_THAT(collector.texts(), ElementsAre("inside 1234567", "1234567 1234567"));
}

}  // namespace
}  // namespace qk::logging
