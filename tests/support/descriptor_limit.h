#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

// clang's undefined behaviour sanitizer sometimes opens a pipe to inspect an object, and reports a false error if it
// can't.
#if defined(__has_feature)
#if __has_feature(undefined_behavior_sanitizer)
#define DESCRIPTORS_MUST_NOT_RUN_OUT
#endif
#endif

namespace testing_support {

/// Whether the tests of this build may run out of descriptors.
constexpr bool descriptorsMayRunOut() {
#ifdef DESCRIPTORS_MUST_NOT_RUN_OUT
  return false;
#else
  return true;
#endif
}

/// While it exists, the process gets no more descriptors.
class NoMoreDescriptors {
 public:
  NoMoreDescriptors() {
    EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &before_), 0);
    // The system always uses the lowest free number, so this limit leaves none.
    const int lowestFree = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    EXPECT_GE(lowestFree, 0);
    ::close(lowestFree);
    rlimit none = before_;
    none.rlim_cur = static_cast<rlim_t>(lowestFree);
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
  }
  NoMoreDescriptors(const NoMoreDescriptors&) = delete;
  NoMoreDescriptors& operator=(const NoMoreDescriptors&) = delete;
  ~NoMoreDescriptors() { EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &before_), 0); }

 private:
  rlimit before_{};
};

}  // namespace testing_support
