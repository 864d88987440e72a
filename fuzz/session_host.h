#pragma once

#include <tovik/ftp_bridge/ftp_bridge.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "dispatcher.h"
#include "fuzzer.h"

namespace fuzz {

/// The bytes that a server has sent on each connection. Threads: any.
class SentStreams {
 public:
  std::size_t begin() {
    const std::lock_guard lock(mutex_);
    streams_.emplace_back();
    return streams_.size() - 1;
  }
  void add(std::size_t stream, const std::string& bytes) {
    const std::lock_guard lock(mutex_);
    streams_[stream] += bytes;
  }
  /// Whether one of the streams starts with these bytes.
  bool any(const std::string& beginning) const {
    const std::lock_guard lock(mutex_);
    return beginning.empty() || std::any_of(streams_.begin(), streams_.end(), [&](const std::string& stream) {
             return stream.compare(0, beginning.size(), beginning) == 0;
           });
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> streams_;
};

/// A host whose actions in callbacks are decided by the input, and which checks that the callbacks are correct. After
/// the last decision of the input it starts one command after another.
///
/// Threads:   constructed, started and ended by the fuzzer's thread; all callbacks on the worker.
/// Ownership: owns the controller, and may destroy it in a callback.
class SessionHost : public tovik::ftp::FTPclient {
 public:
  SessionHost(const Dispatcher& dispatcher, const SentStreams& sent, std::string decisions)
      : dispatcher_(dispatcher), sent_(sent), decisions_(std::move(decisions)) {}
  SessionHost(const SessionHost&) = delete;
  SessionHost& operator=(const SessionHost&) = delete;

  void start(const tovik::ftp::connection_data_t& connection) {
    controller_ = new tovik::ftp::Controller(connection, this, "fuzz", 0, nullptr);
    startAgain();
  }

  /// Stops the session from this thread, unless a callback has destroyed it.
  void stop() {
    if (reserved_.exchange(true)) return;
    require(bool{controller_->stop()}, "a session can be stopped");
    reserved_ = false;
  }

  /// Destroys the session from this thread, unless a callback has. Returns after the end of every connection was
  /// reported.
  void end() {
    if (reserved_.exchange(true))
      return dispatcher_.settleUntil([this] { return destroyed_.load(); }, "the session was destroyed");
    require(bool{controller_->stop()}, "a session can be stopped");
    controller_->transport->call([this] { discardContent(); });
    destroy();
  }

  void checkEnded() const {
    require(destroyed_, "the session was destroyed");
    require(disconnected_ == started_, "the end of each control connection was reported once");
  }

  void onConnected() override { startNext(); }
  void onDisconnected() override {
    ++disconnected_;
    require(disconnected_ <= started_, "the end of a control connection is reported once");
    startNext();
  }
  void onPwd(const std::string& directory) override { ended(Command::pwd, directory); }
  void onPwdFailed(const std::string& text) override { ended(Command::pwd, text); }
  void onCwd(const std::string& text) override { ended(Command::cwd, text); }
  void onCwdFailed(const std::string& text) override { ended(Command::cwd, text); }
  void onCdup(const std::string& text) override { ended(Command::cdup, text); }
  void onCdupFailed(const std::string& text) override { ended(Command::cdup, text); }
  void onNlst(const std::vector<std::string>& names, const std::string& text) override {
    for (const auto& name : names) require(!name.empty(), "no name is empty");
    const auto before = names;
    ended(Command::nlst, text);
    require(names == before, "the names are valid until the callback returns");
  }
  void onNlstFailed(const std::string& text) override { ended(Command::nlst, text); }
  void onRetrieve(const std::string& fileName, const std::string& text, std::string* content) override {
    require(fileName == "file", "the file is the requested one");
    require(content != nullptr && sent_.any(*content), "the content is what the server sent");
    delete content;
    ended(Command::retr, text);
    require(fileName == "file", "the file name is valid until the callback returns");
  }
  void onRetrieveFailed(const std::string& fileName, const std::string& text) override {
    require(fileName == "file", "the file is the requested one");
    ended(Command::retr, text);
    require(fileName == "file", "the file name is valid until the callback returns");
  }

 private:
  enum class Command { none, pwd, cwd, cdup, nlst, retr, quit };

  // Bounds a run in which each failure starts the failed command again.
  static constexpr unsigned maxDecisions = 100;

  void ended(Command command, const std::string& text) {
    require(outstanding_ == command, "the outcome belongs to the command in progress");
    outstanding_ = Command::none;
    const std::string before = text;
    startNext();
    require(text == before, "the text is valid until the callback returns");
  }

  void startNext() {
    require(dispatcher_.isWorker(), "callbacks run on the worker");
    require(!destroyed_, "no callback comes after the session was destroyed");
    if (decided_ >= maxDecisions) return;
    const unsigned number = decided_++;
    const bool given = number < decisions_.size();
    decide(given ? static_cast<unsigned char>(decisions_[number]) % 12U : number % 7U);
  }

  void decide(unsigned decision) {
    switch (decision) {
      case 0:
        return issue(Command::pwd, [this] { return controller_->getPwd(); });
      case 1:
        return issue(Command::cwd, [this] { return controller_->changeCwd("directory"); });
      case 2:
        return issue(Command::cdup, [this] { return controller_->cdUp(); });
      case 3:
      case 4:
        return issue(Command::nlst, [&] { return controller_->getNlst(decision == 3); });
      case 5:
      case 6:
        return issue(Command::retr, [&] { return controller_->getFile("file", decision == 5); });
      case 7:
        return issue(Command::quit, [this] { return controller_->sendLogout(); });
      case 8:
        return startAgain();
      case 9:
        return static_cast<void>(controller_->stop());
      case 10:
        return destroyInside();
      default:
        return;
    }
  }

  void issue(Command command, const std::function<tovik::Result()>& operation) {
    // Set first: the operation may report the outcome before it returns.
    const Command before = std::exchange(outstanding_, command);
    const bool accepted = bool{operation()};
    require(!accepted || before == Command::none, "no command is accepted while one is in progress");
    require(accepted || before != Command::none || destroying_, "a command is accepted when none is in progress");
    if (!accepted) outstanding_ = before;
  }

  void startAgain() {
    if (disconnected_ != started_) return;
    // Counted first: the worker may report the end before start returns.
    ++started_;
    if (!controller_->start()) --started_;
  }

  void destroyInside() {
    if (reserved_.exchange(true)) return;
    discardContent();
    destroy();
  }

  /// The controller's destructor does not free the partial content of a failed transfer.
  void discardContent() { delete std::exchange(controller_->received, nullptr); }

  void destroy() {
    destroying_ = true;
    delete controller_;
    destroyed_ = true;
  }

  const Dispatcher& dispatcher_;
  const SentStreams& sent_;
  const std::string decisions_;
  tovik::ftp::Controller* controller_ = nullptr;

  std::atomic<bool> reserved_{false};  // a thread is about to stop or destroy the session
  std::atomic<bool> destroying_{false};
  std::atomic<bool> destroyed_{false};
  std::atomic<int> started_{0};

  // Used by the worker only, except for the final check.
  std::atomic<int> disconnected_{0};
  Command outstanding_ = Command::none;
  unsigned decided_ = 0;
};

}  // namespace fuzz
