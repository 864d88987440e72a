#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

// clang's sanitizer of undefined behaviour opens a pipe now and then to look at an object, and raises a false alarm
// when it gets none.
#if defined(__has_feature)
#if __has_feature(undefined_behavior_sanitizer)
#define DESCRIPTORS_MUST_NOT_RUN_OUT
#endif
#endif

namespace testing_support {

/// Whether a test of this build may be without descriptors.
constexpr bool descriptorsMayRunOut() {
#ifdef DESCRIPTORS_MUST_NOT_RUN_OUT
  return false;
#else
  return true;
#endif
}

/// While it lives the process gets no further descriptor.
class NoMoreDescriptors {
 public:
  NoMoreDescriptors() {
    EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &before_), 0);
    // The system always gives the lowest free number: a limit right there leaves none.
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
