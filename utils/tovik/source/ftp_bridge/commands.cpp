#include <array>
#include <functional>
#include <memory>
#include <new>
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

/// Nothing of a command that memory was too short to begin stays in progress.
Result Controller::begin(cmd_e cmd, const std::function<void()>& act) {
  const std::weak_ptr<const void> session = transport->life();
  bool busy = true;
  try {
    if (command != cmd_e::none) return refuseBusy();
    busy = false;
    act();
    return Success;
  } catch (const std::bad_alloc&) {
    // The client may have destroyed the session in a callback and thrown this itself.
    if (session.expired()) throw;
    if (!busy && command == cmd) command = cmd_e::none;
    return failure("out of memory");
  }
}

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
  return begin(cmd_e::pwd, [this] {
    QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: controller getting current directory";
    prepareCommand(cmd_e::pwd);
    send(pending_e::pwd, "PWD");
  });
}

Result Controller::changeCwd(const std::string& directory) {
  return begin(cmd_e::cwd, [this, &directory] {
    QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: controller changing working directory to " << directory;
    prepareCommand(cmd_e::cwd);
    send(pending_e::cwd, "CWD " + directory);
  });
}

Result Controller::cdUp() {
  return begin(cmd_e::cdup, [this] {
    QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: controller changing to parent directory";
    prepareCommand(cmd_e::cdup);
    send(pending_e::cdup, "CDUP");
  });
}

Result Controller::sendLogout() {
  return begin(cmd_e::quit, [this] {
    QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: controller logging out";
    prepareCommand(cmd_e::quit);
    send(pending_e::quit, "QUIT");
  });
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
