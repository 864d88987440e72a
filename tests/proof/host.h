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
class PlannedHost final : public FTPclient {
 public:
  explicit PlannedHost(const std::vector<std::string>& commands);

  void setController(Controller* controller) { controller_ = controller; }

  std::vector<std::string> lines() const;
  /// Whether an operation of the controller has failed for want of memory.
  bool wantedMemory() const { return wantedMemory_; }
  /// Becomes readable with each line; takeNews makes it unreadable again.
  int news() const { return news_.number(); }
  void takeNews() const;

  void onConnected() override { hear({"onConnected"}); }
  void onDisconnected() override { write({"onDisconnected"}); }
  void onPwd(const std::string& directory) override { hear({"onPwd ", directory}); }
  void onPwdFailed(const std::string& text) override { hear({"onPwdFailed ", text}); }
  void onCwd(const std::string& text) override { hear({"onCwd ", text}); }
  void onCwdFailed(const std::string& text) override { hear({"onCwdFailed ", text}); }
  void onCdup(const std::string& text) override { hear({"onCdup ", text}); }
  void onCdupFailed(const std::string& text) override { hear({"onCdupFailed ", text}); }
  void onNlst(const std::vector<std::string>& names, const std::string& text) override;
  void onNlstFailed(const std::string& text) override { hear({"onNlstFailed ", text}); }
  void onRetrieve(const std::string& fileName, const std::string& text, std::string* content) override;
  void onRetrieveFailed(const std::string& fileName, const std::string& text) override;

 private:
  using Texts = std::initializer_list<std::string_view>;

  void write(Texts texts);
  void hear(Texts texts);

  std::vector<std::function<Result(Controller&)>> commands_;
  const Descriptor news_;
  Controller* controller_ = nullptr;
  std::atomic<bool> wantedMemory_{false};
  std::size_t next_ = 0;  // the thread's that calls back

  mutable std::mutex mutex_;  // guards lines_
  std::vector<std::string> lines_;
};

}  // namespace tovik::ftp
