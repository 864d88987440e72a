// Many sessions at once, with a bounded number in flight: fetches each named file in a session of its own and prints
// its size. One worker thread serves them all; what has to be bounded is what the server and the memory must bear.

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

/// How the sessions, on their worker, tell the main thread that one of them is over.
class Bell {
 public:
  void ring() {
    const std::lock_guard lock(mutex_);
    rung_ = true;
    changed_.notify_one();
  }

  void waitUntil(Clock::time_point limit) {
    std::unique_lock lock(mutex_);
    changed_.wait_until(lock, limit, [this] { return rung_; });
    rung_ = false;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool rung_ = false;
};

/// One session that fetches one file. The main thread makes and closes it, the worker does the rest.
class Fetch : public tovik::ftp::FileRetriever {
 public:
  Fetch(const tovik::ftp::connection_data_t& connection, std::string name, Bell& bell)
      : FileRetriever(true), name_(std::move(name)), bell_(bell) {
    session_.emplace(connection, this, "ftp", 10, nullptr);
    setController(&*session_);
    if (const tovik::Result started = session_->start(); !started) finish(started.message);
  }

  /// The limit also covers a refused login, of which no callback tells.
  bool isOver() const { return over_ || Clock::now() >= limit_; }
  Clock::time_point limit() const { return limit_; }

  /// Ends the session, wherever it stands, and prints how it went; false when the file has not arrived. No callback
  /// comes once the controller is gone: what they wrote is read without a lock.
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
    over_ = true;
    bell_.ring();
  }

  const std::string name_;
  Bell& bell_;
  const Clock::time_point limit_ = Clock::now() + sessionLimit;
  std::atomic<bool> over_ = false;
  std::optional<std::size_t> size_;
  std::string failure_ = "the session ended early";
  std::optional<tovik::ftp::Controller> session_;
};

int main(int argc, char** argv) {
  if (argc < 6) return std::cerr << "usage: many_sessions HOST-IP PORT USER PASSWORD AT-ONCE NAME...\n", 2;
  tovik::Address server(static_cast<unsigned short>(std::atoi(argv[2])));
  if (!server.set_host(argv[1])) return std::cerr << argv[1] << " is not an address\n", 2;
  const tovik::ftp::connection_data_t connection{server, tovik::Address(), argv[3], argv[4], {}};
  const auto atOnce = static_cast<std::size_t>(std::max(1, std::atoi(argv[5])));
  if (!tovik::DispatchStore::inst().add("ftp", 1)) return 1;

  bool allArrived = true;
  Bell bell;
  std::list<Fetch> inFlight;  // the oldest first, so the first limit is the next one
  for (int next = 6; next < argc || !inFlight.empty();) {
    for (; next < argc && inFlight.size() < atOnce; ++next) inFlight.emplace_back(connection, argv[next], bell);
    bell.waitUntil(inFlight.front().limit());
    inFlight.remove_if([&](Fetch& fetch) {
      if (!fetch.isOver()) return false;
      allArrived = fetch.close() && allArrived;
      return true;
    });
  }
  return allArrived ? 0 : 1;
}
