#include <gtest/gtest.h>
#include <pthread.h>
#include <qk/logging/logging.h>

#include <cstdlib>
#include <optional>
#include <system_error>
#include <vector>

#include "grouping_locale.h"

namespace qk::logging {
namespace {

/// Uses up all thread-specific keys of the process while it exists.
class NoKeyLeft {
 public:
  NoKeyLeft() {
    pthread_key_t key{};
    while (::pthread_key_create(&key, nullptr) == 0) {
      keys_.push_back(key);
    }
  }
  ~NoKeyLeft() {
    for (const pthread_key_t key : keys_) {
      ::pthread_key_delete(key);
    }
  }
  NoKeyLeft(const NoKeyLeft&) = delete;
  NoKeyLeft& operator=(const NoKeyLeft&) = delete;

 private:
  std::vector<pthread_key_t> keys_;
};

/// Whether this thread has a stream, or can have one.
bool hasThreadStream() {
  try {
    GetThreadLocalStream();
    return true;
  } catch (const std::system_error&) {
    return false;
  }
}

int logsInside() {
  QK_LOG(LogLevel::Warning) << "inside";
  return 255;
}

// The library keeps its key once created, so each of these tests runs in a process that has not logged yet.

TEST(WithoutAThreadKeyDeathTest, TheThreadsStreamCannotBeCreated) {
  const auto ask = [] {
    const NoKeyLeft none;
    std::exit(hasThreadStream() ? 1 : 0);
  };
  EXPECT_EXIT(ask(), ::testing::ExitedWithCode(0), "");
}

// The log statement threw std::system_error, wherever the host or the library happened to log.
TEST(WithoutAThreadKeyDeathTest, AStatementEmitsItsRecord) {
  const auto log = [] {
    const NoKeyLeft none;
    QK_LOG(LogLevel::Warning) << "first " << std::hex << 255;
    QK_LOG(LogLevel::Warning) << "second " << 255;
    std::exit(0);
  };
  EXPECT_EXIT(log(), ::testing::ExitedWithCode(0), " first ff\n.* second 255\n");
}

TEST(WithoutAThreadKeyDeathTest, ANestedStatementDoesNotChangeTheOuterOne) {
  const auto log = [] {
    const NoKeyLeft none;
    QK_LOG(LogLevel::Warning) << std::hex << "outer " << logsInside() << " end";
    std::exit(0);
  };
  EXPECT_EXIT(log(), ::testing::ExitedWithCode(0), " inside\n.* outer ff end\n");
}

TEST(WithoutAThreadKeyDeathTest, AStatementWritesInTheClassicLocale) {
  const auto log = [] {
    const NoKeyLeft none;
    const GlobalLocale global(groupingLocale());
    QK_LOG(LogLevel::Warning) << 1'234'567;
    std::exit(0);
  };
  EXPECT_EXIT(log(), ::testing::ExitedWithCode(0), " 1234567\n");
}

TEST(WithoutAThreadKeyDeathTest, ANestedStatementUsesAKeyThatHasBecomeFree) {
  const auto log = [] {
    std::optional<NoKeyLeft> none(std::in_place);
    const auto freesThem = [&none] {
      none.reset();
      return logsInside();
    };
    QK_LOG(LogLevel::Warning) << std::hex << "outer " << freesThem() << " end";
    QK_LOG(LogLevel::Warning) << "next " << 255;
    std::exit(hasThreadStream() && GetThreadLocalStream().str().empty() ? 0 : 1);
  };
  EXPECT_EXIT(log(), ::testing::ExitedWithCode(0), " inside\n.* outer ff end\n.* next 255\n");
}

}  // namespace
}  // namespace qk::logging
