#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "support/waiting.h"
#include "tovik/ftp_bridge/ftp_bridge.h"

namespace real_servers {

/// Keeps what it is told, each event a line, for the test's thread to wait for and go on from.
class WaitingClient : public tovik::ftp::FTPclient {
 public:
  /// Waits for the next event that has not been taken yet; not again once one has failed to come.
  std::string next() {
    lost_ = lost_ || !told_.waitUntil([&](const Told& told) { return told.events.size() > taken_; });
    return lost_ ? "nothing came" : told_.get().events[taken_++];
  }
  std::vector<std::string> names() const { return told_.get().names; }
  std::string takeContent() {
    std::string content;
    told_.change([&](Told& told) { content.swap(told.content); });
    return content;
  }

  void onConnected() override { tell("connected"); }
  void onDisconnected() override { tell("disconnected"); }
  void onPwd(const std::string& directory) override { tell("pwd: " + directory); }
  void onPwdFailed(const std::string& text) override { tell("pwd failed: " + text); }
  void onCwd(const std::string& text) override { tell("cwd: " + text); }
  void onCwdFailed(const std::string& text) override { tell("cwd failed: " + text); }
  void onCdup(const std::string& text) override { tell("cdup: " + text); }
  void onCdupFailed(const std::string& text) override { tell("cdup failed: " + text); }
  void onNlst(const std::vector<std::string>& names, const std::string& text) override {
    told_.change([&](Told& told) { told.names = names; });
    tell("nlst: " + text);
  }
  void onNlstFailed(const std::string& text) override { tell("nlst failed: " + text); }
  void onRetrieve(const std::string& fileName, const std::string& text, std::string* content) override {
    const std::unique_ptr<std::string> owned(content);
    // Of a file without a byte there may be no content at all.
    told_.change([&](Told& told) { told.content = owned ? std::move(*owned) : std::string(); });
    tell("retr " + fileName + ": " + text);
  }
  void onRetrieveFailed(const std::string& fileName, const std::string& text) override {
    tell("retr failed " + fileName + ": " + text);
  }

 private:
  struct Told {
    std::vector<std::string> events;
    std::vector<std::string> names;
    std::string content;
  };

  void tell(const std::string& event) {
    told_.change([&](Told& told) { told.events.push_back(event); });
  }

  testing_support::Awaited<Told> told_;
  std::size_t taken_ = 0;
  bool lost_ = false;
};

}  // namespace real_servers
