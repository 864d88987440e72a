#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <pthread.h>
#include <qk/logging/logging.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <functional>
#include <string>
#include <thread>

#include "kept_standard_error.h"
#include "standard_error_capture.h"
#include "support/rest.h"
#include "support/waiting.h"

namespace qk::logging {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;

TEST(ClosedStandardError, LosesARecordSilently) {
  StandardErrorCapture capture;
  {
    const KeptStandardError kept;
    ::close(STDERR_FILENO);
    QK_LOG(LogLevel::Warning) << "lost";
  }
  QK_LOG(LogLevel::Warning) << "next";
  EXPECT_THAT(capture.writes(), ElementsAre(EndsWith(" next\n")));
}

TEST(ClosedStandardError, LosesALineAboutAHandlerSilently) {
  StandardErrorCapture capture;
  const HandlerId id = AddHandler([](const Record&) { throw 5; });
  {
    const KeptStandardError kept;
    ::close(STDERR_FILENO);
    QK_LOG(LogLevel::Warning) << "lost";
  }
  RemoveHandler(id);
  QK_LOG(LogLevel::Warning) << "next";
  EXPECT_THAT(capture.writes(), ElementsAre(EndsWith(" next\n")));
}

/// Replaces standard error while it exists: a pipe that holds one page, so that a longer write blocks.
class NarrowStandardError {
 public:
  NarrowStandardError() {
    KeptStandardError::checked(::pipe2(ends_.data(), O_CLOEXEC));
    capacity_ = KeptStandardError::checked(::fcntl(ends_[1], F_SETPIPE_SZ, 1));
    KeptStandardError::checked(::dup2(ends_[1], STDERR_FILENO));
  }
  ~NarrowStandardError() {
    ::close(ends_[0]);
    ::close(ends_[1]);
  }
  NarrowStandardError(const NarrowStandardError&) = delete;
  NarrowStandardError& operator=(const NarrowStandardError&) = delete;

  bool isFull() const {
    int unread = 0;
    return ::ioctl(ends_[0], FIONREAD, &unread) == 0 && unread == capacity_;
  }

  /// What has been written, up to the first line's end; shorter if no more comes before the deadline.
  std::string readLine() const {
    using std::chrono::milliseconds;
    const auto limit = static_cast<int>(std::chrono::duration_cast<milliseconds>(testing_support::deadline).count());
    pollfd unread{ends_[0], POLLIN, 0};
    std::string line;
    std::array<char, 4096> bytes;
    while (!line.ends_with('\n') && ::poll(&unread, 1, limit) > 0) {
      const ssize_t count = ::read(ends_[0], bytes.data(), bytes.size());
      line.append(bytes.data(), static_cast<std::size_t>(count));
    }
    return line;
  }

 private:
  const KeptStandardError kept_;
  std::array<int, 2> ends_{};
  int capacity_ = 0;
};

std::atomic<int> signalsTaken = 0;

/// Counts SIGUSR1 while it exists. The signal ends a blocking system call with EINTR.
class InterruptingSignal {
 public:
  InterruptingSignal() {
    signalsTaken = 0;
    struct sigaction counting {};
    counting.sa_handler = [](int) { ++signalsTaken; };
    KeptStandardError::checked(::sigaction(SIGUSR1, &counting, &former_));
  }
  ~InterruptingSignal() { ::sigaction(SIGUSR1, &former_, nullptr); }
  InterruptingSignal(const InterruptingSignal&) = delete;
  InterruptingSignal& operator=(const InterruptingSignal&) = delete;

 private:
  struct sigaction former_ {};
};

TEST(InterruptedStandardError, GetsALineWhole) {
  const InterruptingSignal interrupting;
  const NarrowStandardError narrow;
  const std::string text(50'000, 'x');
  std::thread writer([&text] { QK_LOG(LogLevel::Warning) << text; });
  // The first signal cuts a write short, the second finds one that has written nothing.
  for (int signals = 0; signals < 2 && !HasFailure(); ++signals) {
    EXPECT_TRUE(testing_support::eventually([&] {
      return narrow.isFull() && signalsTaken == signals && testing_support::othersSleep();
    })) << signals;
    ::pthread_kill(writer.native_handle(), SIGUSR1);
  }
  const std::string line = narrow.readLine();
  writer.join();
  EXPECT_EQ(signalsTaken, 2);
  EXPECT_TRUE(line.ends_with(" " + text + "\n")) << line.size() << " bytes";
}

}  // namespace
}  // namespace qk::logging
