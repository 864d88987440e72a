#include <array>
#include <functional>
#include <memory>
#include <new>
#include <utility>

#include "tovik/ftp_bridge/ftp_bridge.h"
#include "tovik/text.h"

namespace tovik::ftp {

namespace {

/// A client that tries again whenever a failure is reported must not use up the stack.
constexpr unsigned mostOperations = 32;

const char* nameOf(Controller::cmd_e command) {
  static constexpr std::array<const char*, 7> names{"none", "pwd", "cwd", "cdup", "nlst", "retr", "quit"};
  const auto number = static_cast<std::size_t>(command);
  return number < names.size() ? names[number] : "unknown";
}

}  // namespace

/// Counts an operation for as long as it is on the stack and the session lives.
class Controller::Operation {
 public:
  explicit Operation(Controller& controller) : controller_(controller), session_(controller.transport->life()) {
    ++controller_.operations;
  }
  ~Operation() {
    if (!sessionIsGone()) --controller_.operations;
  }
  Operation(const Operation&) = delete;
  Operation& operator=(const Operation&) = delete;

  bool sessionIsGone() const { return session_.expired(); }

 private:
  Controller& controller_;
  const std::weak_ptr<const void> session_;
};

Result Controller::refuseBusy() const { return failure(nameOf(command) + std::string(" still active")); }

/// On the worker, where nothing that the server or a stranger sends can come in between.
Result Controller::perform(const std::function<void()>& act) {
  Result result;
  const auto onWorker = [&] { result = begin(act); };
  transport->call(std::cref(onWorker));
  return result;
}

/// A command that there is no memory for leaves the controller idle. What the client throws when a failed set-up is
/// reported reaches the caller.
Result Controller::begin(const std::function<void()>& act) {
  const Operation operation(*this);
  const unsigned long reportsBefore = failureReports;
  bool busy = true;
  try {
    if (transport->refusesNew()) return failure("the session is closed");
    if (command != cmd_e::none) return refuseBusy();
    if (operations > mostOperations) return failure("too many failures, each reported inside the one before");
    busy = false;
    act();
    return Success;
  } catch (const std::bad_alloc&) {
    if (operation.sessionIsGone() || failureReports != reportsBefore) throw;
    if (!busy) command = cmd_e::none;
    return failure("out of memory");
  }
}

void Controller::prepareCommand(cmd_e cmd) {
  command = cmd;
  replyReceived = false;
  replyText.clear();
  delete std::exchange(received, nullptr);
  fileName.clear();
  cutByLimit = false;
}

/// The reply may arrive before this returns, so what it answers is set first.
void Controller::send(pending_e awaited, const std::string& text) {
  interpreter.pending = awaited;
  interpreter.sendCommand(text);
}

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
