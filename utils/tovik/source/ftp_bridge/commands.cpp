#include "tovik/ftp_bridge/ftp_bridge.h"
#include "tovik/text.h"

namespace tovik::ftp {

Result Controller::getPwd() {
  return perform([this] {
    QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: controller getting current directory";
    prepareCommand(cmd_e::pwd);
    send(pending_e::pwd, "PWD");
  });
}

Result Controller::changeCwd(const std::string& directory) {
  return perform([this, &directory] {
    QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: controller changing working directory to " << directory;
    prepareCommand(cmd_e::cwd);
    send(pending_e::cwd, "CWD " + directory);
  });
}

Result Controller::cdUp() {
  return perform([this] {
    QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: controller changing to parent directory";
    prepareCommand(cmd_e::cdup);
    send(pending_e::cdup, "CDUP");
  });
}

Result Controller::sendLogout() {
  return perform([this] {
    QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: controller logging out";
    prepareCommand(cmd_e::quit);
    send(pending_e::quit, "QUIT");
  });
}

/// The name is enclosed in double quotes (RFC 959, appendix II). A doubled quote inside the name is not unescaped: it
/// ends the name.
void Controller::onPwd(bool ok, const std::string& text) {
  command = cmd_e::none;
  if (!ok) return client->onPwdFailed(text);
  std::string directory = text;
  if (findSubstring(directory, '"', '"')) return client->onPwd(directory);
  client->onPwdFailed("couldn't parse " + directory);
}

void Controller::onCwd(bool ok, const std::string& text) {
  command = cmd_e::none;
  if (ok) return client->onCwd(text);
  client->onCwdFailed(text);
}

void Controller::onCdup(bool ok, const std::string& text) {
  command = cmd_e::none;
  if (ok) return client->onCdup(text);
  client->onCdupFailed(text);
}

}  // namespace tovik::ftp
