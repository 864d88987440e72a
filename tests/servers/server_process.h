#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace test_servers {

/// A program started by a test. It outlives neither this object nor the thread that made it: the kernel kills it when
/// that thread ends, however the test ends. What it starts in turn is its own to end: an FTP session ends with its
/// connection.
class ServerProcess {
 public:
  /// Starts arguments[0], a path; what it says goes to the file output. Throws std::system_error where that fails.
  ServerProcess(const std::vector<std::string>& arguments, const std::filesystem::path& output);
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;
  /// Asks the program to end, kills it when it does not, and waits for its end.
  ~ServerProcess();

  /// Waits for the program's own end; false when the time passes first.
  [[nodiscard]] bool endsWithin(std::chrono::milliseconds time) const;

 private:
  const pid_t id_;
  const int endEvent_;
};

}  // namespace test_servers
