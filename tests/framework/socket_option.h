#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <tovik/socket.h>

namespace testing_support {

/// The value of a socket option.
inline int optionOf(const tovik::Socket& socket, int level, int name) {
  int value = -1;
  socklen_t size = sizeof value;
  EXPECT_EQ(::getsockopt(socket.number(), level, name, &value, &size), 0);
  return value;
}

}  // namespace testing_support
