#include <algorithm>
#include <array>

#include "tovik/channel.h"
#include "tovik/ftp_bridge/ftp_bridge.h"
#include "tovik/text.h"

namespace tovik::ftp {

namespace {

std::string dump(const code_t& code, const std::vector<std::string>& lines) {
  std::string text = std::to_string(code.first) + std::to_string(code.second) + std::to_string(code.third) + " ";
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (i > 0) text += '\n';
    text += '"';
    text += lines[i];
    text += "\" ";
  }
  return text;
}

}  // namespace

/// A reply that a pending command understands, and what it does then.
struct ProtocolInterpreter::Rule {
  code_t code;
  Action action;
};

const char* ProtocolInterpreter::word(pending_e command) {
  static constexpr std::array<const char*, 12> words{"none", "user", "password", "account", "port", "passive",
                                                     "pwd",  "cwd",  "cdup",     "nlst",    "retr", "quit"};
  return words[static_cast<std::size_t>(command)];
}

// The codes differ from command to command, where one might expect them alike, and each set is meant as it stands: 530
// does not log out during PWD, CDUP wants 200, NLST fails on 502 but not on 550, and RETR the other way round.
// clang-format off
std::span<const ProtocolInterpreter::Rule> ProtocolInterpreter::rules(pending_e command) {
  using P = ProtocolInterpreter;
  using C = Controller;
  static constexpr Rule none[] = {
      {{1, 2, 0}, &P::wait},
      {{2, 2, 0}, &P::sendUser},
  };
  static constexpr Rule user[] = {
      {{2, 3, 0}, &P::logIn},
      {{3, 3, 1}, &P::sendPassword},
      {{3, 3, 2}, &P::sendAccount},
      {{5, 0, 0}, &P::refuseLogin},
      {{5, 0, 1}, &P::refuseLogin},
      {{5, 3, 0}, &P::refuseLogin},
  };
  static constexpr Rule password[] = {
      {{2, 3, 0}, &P::logIn},
      {{2, 0, 2}, &P::noteNotImplemented},
      {{3, 3, 2}, &P::sendAccount},
      {{5, 0, 0}, &P::refuseLogin},
      {{5, 0, 1}, &P::refuseLogin},
      {{5, 0, 3}, &P::refuseLogin},
      {{5, 3, 0}, &P::refuseLogin},
  };
  static constexpr Rule account[] = {
      {{2, 3, 0}, &P::logIn},
      {{2, 0, 2}, &P::noteNotImplemented},
      {{5, 0, 0}, &P::refuseLogin},
      {{5, 0, 1}, &P::refuseLogin},
      {{5, 0, 3}, &P::refuseLogin},
      {{5, 3, 0}, &P::refuseLogin},
  };
  static constexpr Rule port[] = {
      {{2, 0, 0}, &P::report<&C::onPort, true>},
      {{5, 0, 0}, &P::report<&C::onPort, false>},
      {{5, 0, 1}, &P::report<&C::onPort, false>},
      {{5, 0, 3}, &P::report<&C::onPort, false>},
      {{5, 3, 0}, &P::logOut},
  };
  static constexpr Rule passive[] = {
      {{2, 2, 7}, &P::handOverPassiveAddress},
      {{5, 0, 0}, &P::reportPassiveFailure},
      {{5, 0, 1}, &P::reportPassiveFailure},
      {{5, 0, 3}, &P::reportPassiveFailure},
      {{5, 3, 0}, &P::logOut},
  };
  static constexpr Rule pwd[] = {
      {{2, 5, 7}, &P::report<&C::onPwd, true>},
      {{5, 0, 0}, &P::report<&C::onPwd, false>},
      {{5, 0, 1}, &P::report<&C::onPwd, false>},
      {{5, 0, 2}, &P::report<&C::onPwd, false>},
      {{5, 5, 0}, &P::report<&C::onPwd, false>},
  };
  static constexpr Rule cwd[] = {
      {{2, 5, 0}, &P::report<&C::onCwd, true>},
      {{5, 0, 0}, &P::report<&C::onCwd, false>},
      {{5, 0, 1}, &P::report<&C::onCwd, false>},
      {{5, 0, 2}, &P::report<&C::onCwd, false>},
      {{5, 5, 0}, &P::report<&C::onCwd, false>},
      {{5, 3, 0}, &P::logOut},
  };
  static constexpr Rule cdup[] = {
      {{2, 0, 0}, &P::report<&C::onCdup, true>},
      {{5, 0, 0}, &P::report<&C::onCdup, false>},
      {{5, 0, 1}, &P::report<&C::onCdup, false>},
      {{5, 0, 2}, &P::report<&C::onCdup, false>},
      {{5, 5, 0}, &P::report<&C::onCdup, false>},
      {{5, 3, 0}, &P::logOut},
  };
  static constexpr Rule nlst[] = {
      {{1, 2, 5}, &P::wait},
      {{1, 5, 0}, &P::wait},
      {{2, 2, 6}, &P::report<&C::onNlst, true>},
      {{2, 5, 0}, &P::report<&C::onNlst, true>},
      {{4, 2, 5}, &P::report<&C::onNlst, false>},
      {{4, 2, 6}, &P::report<&C::onNlst, false>},
      {{4, 5, 0}, &P::report<&C::onNlst, false>},
      {{4, 5, 1}, &P::report<&C::onNlst, false>},
      {{5, 0, 0}, &P::report<&C::onNlst, false>},
      {{5, 0, 1}, &P::report<&C::onNlst, false>},
      {{5, 0, 2}, &P::report<&C::onNlst, false>},
      {{5, 3, 0}, &P::logOut},
  };
  static constexpr Rule retr[] = {
      {{1, 1, 0}, &P::noteRestartMarker},
      {{1, 2, 5}, &P::wait},
      {{1, 5, 0}, &P::wait},
      {{2, 2, 6}, &P::report<&C::onRetrieve, true>},
      {{2, 5, 0}, &P::report<&C::onRetrieve, true>},
      {{4, 2, 5}, &P::report<&C::onRetrieve, false>},
      {{4, 2, 6}, &P::report<&C::onRetrieve, false>},
      {{4, 5, 0}, &P::report<&C::onRetrieve, false>},
      {{4, 5, 1}, &P::report<&C::onRetrieve, false>},
      {{5, 0, 0}, &P::report<&C::onRetrieve, false>},
      {{5, 0, 1}, &P::report<&C::onRetrieve, false>},
      {{5, 5, 0}, &P::report<&C::onRetrieve, false>},
      {{5, 3, 0}, &P::logOut},
  };
  static constexpr Rule quit[] = {
      {{2, 2, 1}, &P::endSession},
      {{5, 0, 0}, &P::endSession},
  };
  static constexpr std::array<std::span<const Rule>, 12> all{none, user, password, account, port, passive,
                                                             pwd,  cwd,  cdup,     nlst,    retr, quit};
  return all[static_cast<std::size_t>(command)];
}
// clang-format on

// The events of the controller are each action's last act: the client may have destroyed the session in them.
void ProtocolInterpreter::onInput(const code_t& code, const Lines& lines) {
  const std::string text = lines.empty() ? "unknown" : lines.front();
  QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: [FTP] " << dump(code, lines);
  if (code == code_t{4, 2, 1}) {
    sessionState = 0;
    return bringDown();
  }
  if (sessionState != 0 && sessionState != 1) return;
  const bool loggedIn = sessionState == 1;
  if (loggedIn != (pending >= pending_e::port)) {
    QK_LOG(qk::logging::LogLevel::Warning)
        << "Tovik: protocol interpreter: bad pending command " << static_cast<std::int32_t>(pending)
        << (loggedIn ? " while up" : " while down");
    return;
  }
  const std::span<const Rule> known = rules(pending);
  const auto rule = std::find_if(known.begin(), known.end(), [&](const Rule& r) { return r.code == code; });
  if (rule == known.end()) {
    QK_LOG(qk::logging::LogLevel::Warning)
        << "Tovik: protocol interpreter: " << word(pending) << ": unknown reply " << code;
    return;
  }
  (this->*rule->action)(text, lines);
}

void ProtocolInterpreter::bringDown() {
  if (channel != nullptr) channel->bringDown();
}

void ProtocolInterpreter::wait(const std::string& /*text*/, const Lines& /*lines*/) {}

void ProtocolInterpreter::sendUser(const std::string& /*text*/, const Lines& /*lines*/) {
  pending = pending_e::user;
  sendCommand("USER " + controller.connection.user);
}

void ProtocolInterpreter::sendPassword(const std::string& /*text*/, const Lines& /*lines*/) {
  pending = pending_e::password;
  sendCommand("PASS " + controller.connection.password);
}

void ProtocolInterpreter::sendAccount(const std::string& /*text*/, const Lines& /*lines*/) {
  pending = pending_e::account;
  sendCommand("ACCT " + controller.connection.account);
}

void ProtocolInterpreter::logIn(const std::string& /*text*/, const Lines& /*lines*/) {
  sessionState = 1;
  pending = pending_e::none;
  controller.onControlUp();
}

/// The client is not told; a greeting may still come and begin the login anew.
void ProtocolInterpreter::refuseLogin(const std::string& /*text*/, const Lines& /*lines*/) {
  pending = pending_e::none;
}

/// Also for ACCT, with the same words.
void ProtocolInterpreter::noteNotImplemented(const std::string& /*text*/, const Lines& /*lines*/) {
  QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: protocol interpreter: password not implemented";
}

void ProtocolInterpreter::logOut(const std::string& /*text*/, const Lines& /*lines*/) {
  sessionState = 0;
  pending = pending_e::none;
  bringDown();
}

template <void (Controller::*event)(bool, const std::string&), bool ok>
void ProtocolInterpreter::report(const std::string& text, const Lines& /*lines*/) {
  pending = pending_e::none;
  (controller.*event)(ok, text);
}

void ProtocolInterpreter::handOverPassiveAddress(const std::string& text, const Lines& lines) {
  pending = pending_e::none;
  if (lines.empty()) return controller.onPassiveFailure("no passive address");
  std::string numbers = text;
  if (!findSubstring(numbers, '(', ')')) return controller.onPassiveFailure("address not delimited by ()");
  Address address(0);
  if (!convertAddr(numbers, address)) return controller.onPassiveFailure("couldn't parse " + numbers);
  controller.onPassiveSuccess(address);
}

void ProtocolInterpreter::reportPassiveFailure(const std::string& text, const Lines& /*lines*/) {
  pending = pending_e::none;
  controller.onPassiveFailure(text);
}

void ProtocolInterpreter::noteRestartMarker(const std::string& /*text*/, const Lines& /*lines*/) {
  QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: protocol interpreter: restart marker unhandled";
}

void ProtocolInterpreter::endSession(const std::string& /*text*/, const Lines& /*lines*/) { bringDown(); }

}  // namespace tovik::ftp
