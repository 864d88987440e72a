#pragma once

#include <ostream>
#include <string>

#include "ftp_bridge/session_fixture.h"
#include "pouring.h"
#include "support/heap.h"

namespace tovik::ftp {

constexpr long mebibyte = 1L << 20U;

/// A worker keeps its receive buffer, 256 KiB, and buries ended connections in its next turn.
constexpr long workersOwn = mebibyte / 2;

/// A session with a hostile server. Ends, like any other, by proving that nothing is left behind.
class HostileSession : public Session {
 protected:
  using Growth = testing_support::HeapGrowth;

  /// The records of a flood would be most of what the heap holds.
  static void logNothing() { qk::logging::SetMinLogLevel(1000); }
  static void logWarningsOnly() { qk::logging::SetMinLogLevel(qk::logging::LogLevel::Warning); }

  /// Up to the transfer's command, which is read.
  ScriptedServer& negotiate(bool mode) {
    mode == passiveMode ? server.passive() : server.active();
    return server.expect("RETR file");
  }
  void retrieves(bool mode) {
    onceLoggedIn([this, mode] { EXPECT_TRUE(controller->getFile("file", mode)); });
  }
};

/// Bytes that a test is given; the name is what the test is called by.
struct Named {
  std::string name;
  std::string bytes;
};
inline void PrintTo(const Named& named, std::ostream* out) { *out << named.name; }
inline std::string nameOf(const ::testing::TestParamInfo<Named>& named) { return named.param.name; }

/// For what a server may do in either mode.
class HostileInMode : public HostileSession, public ::testing::WithParamInterface<bool> {};

inline std::string modeName(const ::testing::TestParamInfo<bool>& mode) {
  return mode.param == passiveMode ? "Passive" : "Active";
}

#define IN_BOTH_MODES(suite) INSTANTIATE_TEST_SUITE_P(In, suite, ::testing::Bool(), modeName)

}  // namespace tovik::ftp
