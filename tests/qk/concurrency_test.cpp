#include <gmock/gmock.h>
#include <qk/logging/logging.h>

#include <atomic>
#include <functional>
#include <latch>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "record_collector.h"

namespace qk::logging {
namespace {

using ::testing::Each;
using ::testing::Pair;
using ::testing::SizeIs;

constexpr int threadCount = 4;
constexpr int recordsPerThread = 500;

std::string textOf(int thread, int number) {
  return "thread " + std::to_string(thread) + " record " + std::to_string(number) + " " + std::string(64, 'x');
}

void logOne(int thread, int number) {
  QK_LOG(LogLevel::Warning) << "thread " << thread << " record " << number << ' ' << std::string(64, 'x');
}

/// Runs the work on all threads at once and returns when the last one has finished.
void runOnThreads(const std::function<void(int thread)>& work) {
  std::latch start(threadCount);
  std::vector<std::jthread> threads;
  for (int thread = 0; thread < threadCount; ++thread) {
    threads.emplace_back([&start, &work, thread] {
      start.arrive_and_wait();
      work(thread);
    });
  }
}

/// How often each text is in the records; unexpected texts are counted, too.
std::map<std::string, int> countsOf(const std::vector<std::string>& texts) {
  std::map<std::string, int> counts;
  for (int thread = 0; thread < threadCount; ++thread) {
    for (int number = 0; number < recordsPerThread; ++number) {
      counts[textOf(thread, number)] = 0;
    }
  }
  for (const std::string& text : texts) {
    ++counts[text];
  }
  return counts;
}

void expectEachOnce(const std::vector<std::string>& texts) {
  const auto counts = countsOf(texts);
  EXPECT_THAT(counts, SizeIs(threadCount * recordsPerThread));
  EXPECT_THAT(counts, Each(Pair(testing::_, 1)));
}

TEST(Concurrency, EachRecordArrivesOnceAndWholeWhileOtherHandlersAreAddedAndRemoved) {
  const RecordCollector collector;
  std::atomic<bool> done = false;
  std::jthread changing([&done] {
    while (!done) {
      const RecordCollector first;
      const RecordCollector second;
    }
  });
  runOnThreads([](int thread) {
    for (int number = 0; number < recordsPerThread; ++number) {
      logOne(thread, number);
    }
  });
  done = true;
  changing.join();
  expectEachOnce(collector.texts());
}

TEST(Concurrency, AHandlerReceivesEveryRecordOfItsThreadWhileItIsInstalled) {
  runOnThreads([](int thread) {
    for (int number = 0; number < recordsPerThread; ++number) {
      const RecordCollector collector;
      logOne(thread, number);
      int arrived = 0;
      for (const std::string& text : collector.texts()) {
        arrived += text == textOf(thread, number) ? 1 : 0;
      }
      EXPECT_EQ(arrived, 1) << textOf(thread, number);
    }
  });
}

TEST(Concurrency, ARemovedCallableIsKeptWhileAnotherThreadRunsIt) {
  std::latch inside(1);
  std::latch removed(1);
  auto held = std::make_shared<std::string>("held");
  const std::weak_ptr<std::string> watched = held;
  const HandlerId id = AddHandler([&inside, &removed, held = std::move(held)](const Record&) {
    inside.count_down();
    removed.wait();
    EXPECT_EQ(*held, "held");
  });
  std::jthread logging([] { QK_LOG(LogLevel::Warning) << "text"; });
  inside.wait();
  EXPECT_TRUE(RemoveHandler(id));
  EXPECT_FALSE(watched.expired());
  removed.count_down();
  logging.join();
  EXPECT_TRUE(watched.expired());
}

TEST(Concurrency, ABlockedHandlerDoesNotBlockOtherThreads) {
  std::latch inside(1);
  std::latch release(1);
  const RecordCollector collector;
  const HandlerId id = AddHandler([&inside, &release](const Record& record) {
    if (record.text == "blocks") {
      inside.count_down();
      release.wait();
    }
  });
  std::jthread blocked([] { QK_LOG(LogLevel::Warning) << "blocks"; });
  inside.wait();
  QK_LOG(LogLevel::Warning) << "passes";
  { const RecordCollector another; }
  release.count_down();
  blocked.join();
  RemoveHandler(id);
  EXPECT_THAT(collector.texts(), testing::ElementsAre("blocks", "passes"));
}

TEST(Concurrency, TheThresholdMayChangeWhileOtherThreadsLog) {
  const RecordCollector collector;
  runOnThreads([](int thread) {
    for (int number = 0; number < recordsPerThread; ++number) {
      if (thread == 0) {
        SetMinLogLevel(number % 2 == 0 ? LogLevel::Trace : LogLevel::Warning);
      }
      QK_LOG(LogLevel::Info) << "between";
      logOne(thread, number);
    }
  });
  SetMinLogLevel(LogLevel::Warning);
  auto texts = collector.texts();
  std::erase(texts, "between");
  expectEachOnce(texts);
}

}  // namespace
}  // namespace qk::logging
