#include <gmock/gmock.h>
#include <qk/logging/logging.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "record_collector.h"

namespace qk::logging {
namespace {

using ::testing::ElementsAre;

struct AtExit {
  ~AtExit() {
    if (action) {
      action();
    }
  }
  std::function<void()> action;
};

// Created before the first record of the process, so destroyed after everything that the library creates for it.
AtExit atExit;

std::vector<std::string> textsLoggedByAStaticConstructor() {
  const RecordCollector collector;
  QK_LOG(LogLevel::Warning) << "early";
  return collector.texts();
}

const std::vector<std::string> earlyTexts = textsLoggedByAStaticConstructor();

struct LogsWhenDestroyed {
  ~LogsWhenDestroyed() { QK_LOG(LogLevel::Warning) << text; }
  std::string text;
};

TEST(Lifetime, StaticConstructorsMayLog) { EXPECT_THAT(earlyTexts, ElementsAre("early")); }

TEST(LifetimeDeathTest, StaticDestructorsMayLog) {
  EXPECT_EXIT(
      {
        atExit.action = [] { QK_LOG(LogLevel::Warning) << "late " << std::string(1000, 'x'); };
        QK_LOG(LogLevel::Warning) << "before";
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), " before\n.* late x{1000}\n");
}

TEST(LifetimeDeathTest, HandlersReceiveTheRecordsOfStaticDestructors) {
  EXPECT_EXIT(
      {
        atExit.action = [] { QK_LOG(LogLevel::Warning) << "late"; };
        const HandlerId id = AddHandler([](const Record& record) {
          const std::string line = "handled " + record.text + "\n";
          if (::write(STDERR_FILENO, line.data(), line.size()) < 0) {
            std::abort();
          }
        });
        static_cast<void>(id);
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "handled late\n");
}

TEST(Lifetime, DestructorsAtTheEndOfAThreadMayLog) {
  const RecordCollector collector;
  std::thread([] {
    // Created before the thread's stream, so destroyed after everything that was created with the stream.
    thread_local const LogsWhenDestroyed object{"late " + std::string(1000, 'x')};
    QK_LOG(LogLevel::Warning) << "before " << object.text.size();
  }).join();
  EXPECT_THAT(collector.texts(), ElementsAre("before 1005", "late " + std::string(1000, 'x')));
}

TEST(Lifetime, EachThreadHasItsOwnStream) {
  const std::ostringstream* const here = &GetThreadLocalStream();
  const std::ostringstream* there = nullptr;
  std::thread([&there] { there = &GetThreadLocalStream(); }).join();
  EXPECT_NE(here, there);
  EXPECT_EQ(here, &GetThreadLocalStream());
}

}  // namespace
}  // namespace qk::logging
