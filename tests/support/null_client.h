#pragma once

#include <tovik/ftp_bridge/ftp_bridge.h>

#include <string>
#include <vector>

namespace testing_support {

/// The base of clients that override only the callbacks they care for. All others lead to onOther, which ignores them.
///
/// Threads: as FTPclient.
class NullClient : public tovik::ftp::FTPclient {
 public:
  void onConnected() override { onOther("onConnected", ""); }
  void onDisconnected() override { onOther("onDisconnected", ""); }
  void onPwd(const std::string& directory) override { onOther("onPwd", directory); }
  void onPwdFailed(const std::string& text) override { onOther("onPwdFailed", text); }
  void onCwd(const std::string& text) override { onOther("onCwd", text); }
  void onCwdFailed(const std::string& text) override { onOther("onCwdFailed", text); }
  void onCdup(const std::string& text) override { onOther("onCdup", text); }
  void onCdupFailed(const std::string& text) override { onOther("onCdupFailed", text); }
  void onNlst(const std::vector<std::string>& /*names*/, const std::string& text) override { onOther("onNlst", text); }
  void onNlstFailed(const std::string& text) override { onOther("onNlstFailed", text); }
  void onRetrieve(const std::string& /*fileName*/, const std::string& text, std::string* content) override {
    delete content;
    onOther("onRetrieve", text);
  }
  void onRetrieveFailed(const std::string& /*fileName*/, const std::string& text) override {
    onOther("onRetrieveFailed", text);
  }

 protected:
  /// callback: its name. text: the reply's, or the directory.
  virtual void onOther(const char* /*callback*/, const std::string& /*text*/) {}
};

}  // namespace testing_support
