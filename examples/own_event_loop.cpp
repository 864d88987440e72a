// A host with its own event loop: one poll() waits for the user's commands and for the outcomes of the session. The
// callbacks, on a worker thread, post each outcome to the loop through an eventfd, so the host's state needs no lock.

#include <poll.h>
#include <sys/eventfd.h>
#include <tovik/descriptor.h>
#include <tovik/dispatch_store.h>
#include <tovik/ftp_bridge/ftp_bridge.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

/// Passes functions from any thread to the host's loop, which polls the descriptor and runs them.
class TaskQueue {
 public:
  void post(std::function<void()> task) {
    const std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
    ::eventfd_write(wakeUp_.number(), 1);
  }

  void run() {
    eventfd_t count = 0;
    ::eventfd_read(wakeUp_.number(), &count);
    for (const auto& task : take()) task();
  }
  int descriptor() const { return wakeUp_.number(); }

 private:
  std::vector<std::function<void()>> take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(tasks_, {});
  }

  const tovik::Descriptor wakeUp_{::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)};
  std::mutex mutex_;
  std::vector<std::function<void()>> tasks_;
};

/// A session for the host's loop: runs one command at a time and prints its outcome.
class Shell : private tovik::ftp::FileRetriever {
 public:
  explicit Shell(const tovik::ftp::connection_data_t& connection)
      : FileRetriever(true), session_(connection, this, "ftp", 10, nullptr) {}

  tovik::Result start() { return session_.start(); }
  bool isBusy() const { return busy_; }
  bool hasEnded() const { return ended_; }
  TaskQueue& outcomes() { return outcomes_; }

  void execute(const std::string& line) {
    const tovik::Result started = line == "ls"               ? session_.getNlst(passive)
                                  : line.starts_with("get ") ? session_.getFile(line.substr(4), passive)
                                  : line == "quit"           ? session_.sendLogout()
                                                   : tovik::failure("unknown command; use ls, get FILE or quit");
    busy_ = started.ok;
    if (!started) std::cout << started.message << std::endl;
  }

 private:
  // All functions below run on the worker, and only post outcomes to the loop.
  void report(const std::string& outcome, bool last = false) {
    outcomes_.post([this, outcome, last] {
      std::cout << outcome << std::endl;
      busy_ = false;
      ended_ = last;
    });
  }
  void onConnected() override { report("logged in"); }
  void onDisconnected() override { report("disconnected", true); }
  void onNlst(const std::vector<std::string>& names, const std::string& /*text*/) override {
    std::string all = std::to_string(names.size()) + " names";
    for (const auto& name : names) all += "\n" + name;
    report(all);
  }
  void onNlstFailed(const std::string& text) override { report("failed: " + text); }
  void onRetrieve(const std::string& name, const std::string& /*text*/, std::string* content) override {
    const std::unique_ptr<std::string> owned(content);
    report(name + ": " + std::to_string(owned == nullptr ? 0 : owned->size()) + " bytes");
  }
  void onRetrieveFailed(const std::string& name, const std::string& text) override {
    report(name + " failed: " + text);
  }

  bool busy_ = true;  // until logged in
  bool ended_ = false;
  TaskQueue outcomes_;
  tovik::ftp::Controller session_;  // last member: it makes callbacks until it is destroyed
};

int main(int argc, char** argv) {
  if (argc != 5) return std::cerr << "usage: own_event_loop HOST-IP PORT USER PASSWORD\n", 2;
  tovik::Address server(static_cast<unsigned short>(std::atoi(argv[2])));
  if (!server.set_host(argv[1])) return std::cerr << argv[1] << " is not an address\n", 2;
  const tovik::ftp::connection_data_t connection{server, tovik::Address(), argv[3], argv[4], {}};
  if (!tovik::DispatchStore::inst().add("ftp", 1)) return 1;
  Shell shell(connection);
  if (const tovik::Result started = shell.start(); !started) return std::cerr << started.message << '\n', 1;

  std::setvbuf(stdin, nullptr, _IONBF, 0);  // unbuffered: poll doesn't see lines in the buffer of stdin
  while (!shell.hasEnded()) {
    // poll ignores negative descriptors: no line is read while a command is in progress.
    const int input = shell.isBusy() ? -1 : STDIN_FILENO;
    std::array<pollfd, 2> descriptors{{{shell.outcomes().descriptor(), POLLIN, 0}, {input, POLLIN, 0}}};
    if (::poll(descriptors.data(), descriptors.size(), shell.isBusy() ? 60'000 : -1) == 0) break;  // no answer
    if (descriptors[0].revents != 0) shell.outcomes().run();
    if (std::string line; descriptors[1].revents != 0) shell.execute(std::getline(std::cin, line) ? line : "quit");
  }
  return shell.hasEnded() ? 0 : 1;
}
