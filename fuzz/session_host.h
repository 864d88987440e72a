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

/// What a server has sent, connection by connection. Any thread.
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
  /// Whether one of them begins like that.
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

/// A host that does as the input says in each callback, and checks that the callbacks are what it may expect. Once the
/// input's decisions are used up it goes on with one command after another.
///
/// Threads:   made, started and ended by the fuzzer's thread; all callbacks on the worker.
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
    if (claimed_.exchange(true)) return;
    require(bool{controller_->stop()}, "a session can be stopped");
    claimed_ = false;
  }

  /// Destroys the session from this thread, if no callback has. All its connections have been reported as ended then.
  void end() {
    if (claimed_.exchange(true))
      return dispatcher_.settleUntil([this] { return gone_.load(); }, "the session has gone");
    require(bool{controller_->stop()}, "a session can be stopped");
    controller_->transport->call([this] { discardContent(); });
    destroy();
  }

  void checkEnded() const {
    require(gone_, "the session has gone");
    require(disconnected_ == started_, "each control connection's end has been reported once");
  }

  void onConnected() override { goOn(); }
  void onDisconnected() override {
    ++disconnected_;
    require(disconnected_ <= started_, "no control connection ends twice");
    goOn();
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
    require(names == before, "the names outlast the callback");
  }
  void onNlstFailed(const std::string& text) override { ended(Command::nlst, text); }
  void onRetrieve(const std::string& fileName, const std::string& text, std::string* content) override {
    require(fileName == "file", "the file is the one that was asked for");
    require(content != nullptr && sent_.any(*content), "the content is what was sent");
    delete content;
    ended(Command::retr, text);
    require(fileName == "file", "its name outlasts the callback");
  }
  void onRetrieveFailed(const std::string& fileName, const std::string& text) override {
    require(fileName == "file", "the file is the one that was asked for");
    ended(Command::retr, text);
    require(fileName == "file", "its name outlasts the callback");
  }

 private:
  enum class Command { none, pwd, cwd, cdup, nlst, retr, quit };

  // A host that answers each failure with the command that failed must give up some time.
  static constexpr unsigned mostDecisions = 100;

  void ended(Command command, const std::string& text) {
    require(outstanding_ == command, "an outcome is that of the command in progress");
    outstanding_ = Command::none;
    const std::string before = text;
    goOn();
    require(text == before, "the text outlasts the callback");
  }

  void goOn() {
    require(dispatcher_.isWorker(), "callbacks come on the worker");
    require(!gone_, "nothing comes once the session has gone");
    if (decided_ >= mostDecisions) return;
    const unsigned number = decided_++;
    const bool told = number < decisions_.size();
    decide(told ? static_cast<unsigned char>(decisions_[number]) % 12U : number % 7U);
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
    // Set first: the outcome may come from inside the operation.
    const Command before = std::exchange(outstanding_, command);
    const bool taken = bool{operation()};
    require(!taken || before == Command::none, "no command is taken while one is in progress");
    require(taken || before != Command::none || destroying_, "a command is taken when none is in progress");
    if (!taken) outstanding_ = before;
  }

  void startAgain() {
    if (disconnected_ != started_) return;
    // Counted first: the worker may report the end before this thread goes on.
    ++started_;
    if (!controller_->start()) --started_;
  }

  void destroyInside() {
    if (claimed_.exchange(true)) return;
    discardContent();
    destroy();
  }

  /// What a failed transfer had received is not freed by the controller's destructor.
  void discardContent() { delete std::exchange(controller_->received, nullptr); }

  void destroy() {
    destroying_ = true;
    delete controller_;
    gone_ = true;
  }

  const Dispatcher& dispatcher_;
  const SentStreams& sent_;
  const std::string decisions_;
  tovik::ftp::Controller* controller_ = nullptr;

  std::atomic<bool> claimed_{false};  // somebody is about to stop or destroy the session
  std::atomic<bool> destroying_{false};
  std::atomic<bool> gone_{false};
  std::atomic<int> started_{0};

  // The worker's alone, but for the end.
  std::atomic<int> disconnected_{0};
  Command outstanding_ = Command::none;
  unsigned decided_ = 0;
};

}  // namespace fuzz
