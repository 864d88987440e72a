// A deadline for each command: fetches one file, prints its size, and gives up when a step misses its deadline. The
// library has no time-outs: a command whose reply never comes stays in progress. A host that doesn't want to wait
// destroys the controller, which is safe at any time.

#include <tovik/dispatch_store.h>
#include <tovik/ftp_bridge/ftp_bridge.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

using std::chrono::seconds;

/// The current step of the session and its deadline. Set on the worker; the main thread waits for it.
class Deadline {
 public:
  void begin(const std::string& step, seconds limit) {
    const std::lock_guard lock(mutex_);
    step_ = step;
    until_ = std::chrono::steady_clock::now() + limit;
    changed_.notify_one();
  }

  void end() {
    const std::lock_guard lock(mutex_);
    ended_ = true;
    changed_.notify_one();
  }

  /// Returns null when the session has ended, or the current step when it has missed its deadline.
  std::optional<std::string> wait() {
    std::unique_lock lock(mutex_);
    while (!ended_ && std::chrono::steady_clock::now() < until_) {
      const auto until = until_;  // a copy: the next step may change until_ during the wait
      changed_.wait_until(lock, until);
    }
    return ended_ ? std::nullopt : std::optional(step_);
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::string step_;
  std::chrono::steady_clock::time_point until_;
  bool ended_ = false;
};

struct Limits {
  seconds login;
  seconds command;
  seconds transfer;  // the whole file
};

/// Fetches one file. Each step sets its deadline first.
class Fetch : public tovik::ftp::FileRetriever {
 public:
  Fetch(std::string name, const Limits& limits, Deadline& deadline)
      : FileRetriever(true), name_(std::move(name)), limits_(limits), deadline_(deadline) {}

  void onConnected() override {
    deadline_.begin("PWD", limits_.command);
    static_cast<void>(controller->getPwd());
  }
  void onPwd(const std::string& /*directory*/) override {
    deadline_.begin("RETR " + name_, limits_.transfer);
    static_cast<void>(controller->getFile(name_, passive));
  }
  void onPwdFailed(const std::string& text) override { logOut("PWD: " + text); }
  void onRetrieve(const std::string& name, const std::string& /*text*/, std::string* content) override {
    const std::unique_ptr<std::string> owned(content);
    arrived = true;
    logOut(name + " " + std::to_string(owned == nullptr ? 0 : owned->size()));
  }
  void onRetrieveFailed(const std::string& name, const std::string& text) override { logOut(name + ": " + text); }
  void onDisconnected() override { deadline_.end(); }

  bool arrived = false;  // read after the session has ended

 private:
  void logOut(const std::string& outcome) {
    std::cout << outcome << '\n';
    deadline_.begin("QUIT", limits_.command);
    static_cast<void>(controller->sendLogout());
  }

  const std::string name_;
  const Limits limits_;
  Deadline& deadline_;
};

int main(int argc, char** argv) {
  if (argc != 9)
    return std::cerr << "usage: deadlines HOST-IP PORT USER PASSWORD NAME LOGIN-S COMMAND-S TRANSFER-S\n", 2;
  tovik::Address server(static_cast<unsigned short>(std::atoi(argv[2])));
  if (!server.set_host(argv[1])) return std::cerr << argv[1] << " is not an address\n", 2;
  const tovik::ftp::connection_data_t connection{server, tovik::Address(), argv[3], argv[4], {}};
  const Limits limits{seconds(std::atoi(argv[6])), seconds(std::atoi(argv[7])), seconds(std::atoi(argv[8]))};

  if (!tovik::DispatchStore::inst().add("ftp", 1)) return 1;
  Deadline deadline;
  Fetch fetch(argv[5], limits, deadline);
  {
    tovik::ftp::Controller session(connection, &fetch, "ftp", 0, nullptr);
    fetch.setController(&session);
    deadline.begin("login", limits.login);
    if (const tovik::Result started = session.start(); !started) return std::cerr << started.message << '\n', 1;
    if (const auto late = deadline.wait()) std::cerr << *late << ": no answer in time\n";
  }  // the destructor ends the session, whatever its state
  return fetch.arrived ? 0 : 1;
}
