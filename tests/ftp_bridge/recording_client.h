#pragma once

#include <tovik/ftp_bridge/ftp_bridge.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/waiting.h"

namespace tovik::ftp {

/// A client that records each callback as one line, such as "onNlst a,b | Done", and then does what the test wants
/// done inside it. Checks that the arguments outlast whatever that was.
///
/// Threads: any.
class RecordingClient : public FTPclient {
 public:
  using Action = std::function<void()>;

  /// What to do inside each call of a callback from now on.
  void whenever(const std::string& callback, Action action);
  void onConnectedDo(Action action) { whenever("onConnected", std::move(action)); }

  /// Waits until a callback has returned so many times, its action included.
  [[nodiscard]] bool waits(const std::string& callback, long times = 1) const;
  long callsOf(const std::string& callback) const;
  std::vector<std::string> lines() const { return state_.get().lines; }
  /// Of the last onRetrieve; null when there was none.
  std::shared_ptr<const std::string> content() const { return state_.get().content; }

  void onConnected() override;
  void onDisconnected() override;
  void onPwd(const std::string& directory) override;
  void onPwdFailed(const std::string& text) override;
  void onCwd(const std::string& text) override;
  void onCwdFailed(const std::string& text) override;
  void onCdup(const std::string& text) override;
  void onCdupFailed(const std::string& text) override;
  void onNlst(const std::vector<std::string>& names, const std::string& text) override;
  void onNlstFailed(const std::string& text) override;
  void onRetrieve(const std::string& fileName, const std::string& text, std::string* content) override;
  void onRetrieveFailed(const std::string& fileName, const std::string& text) override;

 private:
  struct State {
    std::vector<std::string> lines;
    std::map<std::string, long> started;
    std::map<std::string, long> ended;
    std::map<std::string, Action> actions;
    std::shared_ptr<const std::string> content;
  };

  void called(const std::string& callback, const std::function<std::string()>& line);

  testing_support::Awaited<State> state_;
};

}  // namespace tovik::ftp
