#include <array>
#include <utility>

#include "tovik/ftp_bridge/ftp_bridge.h"
#include "tovik/text.h"

namespace tovik::ftp {

namespace {

const char* nameOf(Controller::cmd_e command) {
  static constexpr std::array<const char*, 7> names{"none", "pwd", "cwd", "cdup", "nlst", "retr", "quit"};
  const auto number = static_cast<std::size_t>(command);
  return number < names.size() ? names[number] : "unknown";
}

}  // namespace

Result Controller::refuseBusy() const { return failure(nameOf(command) + std::string(" still active")); }

void Controller::prepareCommand(cmd_e cmd) {
  command = cmd;
  replyReceived = false;
  replyText.clear();
  delete std::exchange(received, nullptr);
  fileName.clear();
}

/// The reply may arrive before this returns, so what it answers is set first.
void Controller::send(pending_e awaited, const std::string& text) {
  interpreter.pending = awaited;
  interpreter.sendCommand(text);
}

Result Controller::getPwd() {
  if (command != cmd_e::none) return refuseBusy();
  QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: controller getting current directory";
  prepareCommand(cmd_e::pwd);
  send(pending_e::pwd, "PWD");
  return Success;
}

Result Controller::changeCwd(const std::string& directory) {
  if (command != cmd_e::none) return refuseBusy();
  QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: controller changing working directory to " << directory;
  prepareCommand(cmd_e::cwd);
  send(pending_e::cwd, "CWD " + directory);
  return Success;
}

Result Controller::cdUp() {
  if (command != cmd_e::none) return refuseBusy();
  QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: controller changing to parent directory";
  prepareCommand(cmd_e::cdup);
  send(pending_e::cdup, "CDUP");
  return Success;
}

Result Controller::sendLogout() {
  if (command != cmd_e::none) return refuseBusy();
  QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: controller logging out";
  prepareCommand(cmd_e::quit);
  send(pending_e::quit, "QUIT");
  return Success;
}

/// The name stands between double quotes; a doubled one ends it at its first half.
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
