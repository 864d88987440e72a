#pragma once

#include <tovik/descriptor.h>
#include <tovik/ftp_bridge/ftp_bridge.h>

#include <atomic>
#include <functional>
#include <initializer_list>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace tovik::ftp {

/// A client that writes down each callback as one line, and begins the next command of its plan in each but
/// onDisconnected. Its own memory never fails: the library's is what the tests are about.
///
/// Threads: any.
class ScriptedClient final : public FTPclient {
 public:
  explicit ScriptedClient(const std::vector<std::string>& commands);

  void setController(Controller* controller) { controller_ = controller; }

  std::vector<std::string> lines() const;
  /// Whether an operation of the controller has run out of memory.
  bool ranOutOfMemory() const { return ranOutOfMemory_; }
  /// Becomes readable with each line; clearEvent makes it unreadable again.
  int event() const { return event_.number(); }
  void clearEvent() const;

  void onConnected() override { act({"onConnected"}); }
  void onDisconnected() override { write({"onDisconnected"}); }
  void onPwd(const std::string& directory) override { act({"onPwd ", directory}); }
  void onPwdFailed(const std::string& text) override { act({"onPwdFailed ", text}); }
  void onCwd(const std::string& text) override { act({"onCwd ", text}); }
  void onCwdFailed(const std::string& text) override { act({"onCwdFailed ", text}); }
  void onCdup(const std::string& text) override { act({"onCdup ", text}); }
  void onCdupFailed(const std::string& text) override { act({"onCdupFailed ", text}); }
  void onNlst(const std::vector<std::string>& names, const std::string& text) override;
  void onNlstFailed(const std::string& text) override { act({"onNlstFailed ", text}); }
  void onRetrieve(const std::string& fileName, const std::string& text, std::string* content) override;
  void onRetrieveFailed(const std::string& fileName, const std::string& text) override;

 private:
  using Texts = std::initializer_list<std::string_view>;

  void write(Texts texts);
  void act(Texts texts);

  std::vector<std::function<Result(Controller&)>> commands_;
  const Descriptor event_;
  Controller* controller_ = nullptr;
  std::atomic<bool> ranOutOfMemory_{false};
  std::size_t next_ = 0;  // the thread's that calls back

  mutable std::mutex mutex_;  // guards lines_
  std::vector<std::string> lines_;
};

}  // namespace tovik::ftp
