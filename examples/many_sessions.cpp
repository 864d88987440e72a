// Many sessions, with a limit on how many run at once: fetches each named file in a session of its own and prints its
// size. One worker thread serves all sessions; the limit protects the server and the memory of this process.

#include <tovik/dispatch_store.h>
#include <tovik/ftp_bridge/ftp_bridge.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <iostream>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds sessionLimit{60};

/// Wakes the main thread when a session has ended on the worker.
class Notifier {
 public:
  void notify() {
    const std::lock_guard lock(mutex_);
    notified_ = true;
    changed_.notify_one();
  }

  void waitUntil(Clock::time_point limit) {
    std::unique_lock lock(mutex_);
    changed_.wait_until(lock, limit, [this] { return notified_; });
    notified_ = false;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool notified_ = false;
};

/// A session that fetches one file. Constructed and closed by the main thread; the callbacks run on the worker.
class Fetch : public tovik::ftp::FileRetriever {
 public:
  Fetch(const tovik::ftp::connection_data_t& connection, std::string name, Notifier& notifier)
      : FileRetriever(true), name_(std::move(name)), notifier_(notifier) {
    session_.emplace(connection, this, "ftp", 10, nullptr);
    setController(&*session_);
    if (const tovik::Result started = session_->start(); !started) finish(started.message);
  }

  /// The limit also covers a refused login, which no callback reports.
  bool hasEnded() const { return ended_ || Clock::now() >= limit_; }
  Clock::time_point limit() const { return limit_; }

  /// Ends the session, whatever its state, and prints the outcome. Returns false if the file has not arrived. No
  /// callback runs after the controller is destroyed, so their results are read without a lock.
  bool close() {
    session_.reset();
    if (!size_) return std::cerr << name_ << ": " << failure_ << '\n', false;
    std::cout << name_ << ' ' << *size_ << '\n';
    return true;
  }

  void onConnected() override { static_cast<void>(controller->getFile(name_, passive)); }
  void onRetrieve(const std::string& /*name*/, const std::string& /*text*/, std::string* content) override {
    const std::unique_ptr<std::string> owned(content);
    size_ = owned == nullptr ? 0 : owned->size();
    static_cast<void>(controller->sendLogout());
  }
  void onRetrieveFailed(const std::string& /*name*/, const std::string& text) override {
    failure_ = text;
    static_cast<void>(controller->sendLogout());
  }
  void onDisconnected() override { finish(failure_); }

 private:
  void finish(const std::string& failure) {
    failure_ = failure;
    ended_ = true;
    notifier_.notify();
  }

  const std::string name_;
  Notifier& notifier_;
  const Clock::time_point limit_ = Clock::now() + sessionLimit;
  std::atomic<bool> ended_ = false;
  std::optional<std::size_t> size_;
  std::string failure_ = "the session ended early";
  std::optional<tovik::ftp::Controller> session_;
};

int main(int argc, char** argv) {
  if (argc < 6) return std::cerr << "usage: many_sessions HOST-IP PORT USER PASSWORD MAX-SESSIONS NAME...\n", 2;
  tovik::Address server(static_cast<unsigned short>(std::atoi(argv[2])));
  if (!server.set_host(argv[1])) return std::cerr << argv[1] << " is not an address\n", 2;
  const tovik::ftp::connection_data_t connection{server, tovik::Address(), argv[3], argv[4], {}};
  const auto maxSessions = static_cast<std::size_t>(std::max(1, std::atoi(argv[5])));
  if (!tovik::DispatchStore::inst().add("ftp", 1)) return 1;

  bool allArrived = true;
  Notifier notifier;
  std::list<Fetch> running;  // oldest first: the first one's limit is the next to pass
  for (int next = 6; next < argc || !running.empty();) {
    for (; next < argc && running.size() < maxSessions; ++next) running.emplace_back(connection, argv[next], notifier);
    notifier.waitUntil(running.front().limit());
    running.remove_if([&](Fetch& fetch) {
      if (!fetch.hasEnded()) return false;
      allArrived = fetch.close() && allArrived;
      return true;
    });
  }
  return allArrived ? 0 : 1;
}
