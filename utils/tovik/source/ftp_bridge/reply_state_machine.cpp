#include <array>
#include <initializer_list>

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

/// Named, since classes of the module have members of these types.
namespace reply_table {

/// A reply code written as a number, such as 530; the compiler splits it into digits.
struct Code : code_t {
  constexpr Code() = default;
  constexpr Code(int number)
      : code_t{static_cast<std::int16_t>(number / 100), static_cast<std::int16_t>(number / 10 % 10),
               static_cast<std::int16_t>(number % 10)} {}
};

/// At most N elements, stored in place, so that a table of lists can be a constant.
template <typename T, std::size_t N>
class ShortList {
 public:
  constexpr ShortList() = default;
  constexpr ShortList(std::initializer_list<T> elements) {
    for (const T& element : elements) elements_.at(size_++) = element;
  }

  constexpr const T* begin() const { return elements_.data(); }
  constexpr const T* end() const { return elements_.data() + size_; }

 private:
  std::array<T, N> elements_{};
  std::size_t size_ = 0;
};

}  // namespace reply_table

/// A reply as an action receives it. The text is a copy: a callback may destroy the session, and the lines with it.
struct ProtocolInterpreter::Reply {
  std::string text;  // the first line, or "unknown" when there is none
  const Lines& lines;
};

/// Codes that have the same effect while a command is pending, and that effect.
struct ProtocolInterpreter::Rule {
  reply_table::ShortList<reply_table::Code, 4> codes;
  Action action = nullptr;
};

/// The word for a pending command in the log, and the replies that it accepts.
struct ProtocolInterpreter::AcceptedReplies {
  const char* word;
  reply_table::ShortList<Rule, 6> rules;
};

// The code sets differ from command to command where one might expect them to be alike. That is intended: 530 does not
// log out during PWD, CDUP succeeds on 200 only, NLST fails on 502 but not on 550, and RETR on 550 but not on 502.
// clang-format off
const ProtocolInterpreter::AcceptedReplies& ProtocolInterpreter::acceptedReplies(pending_e command) {
  using P = ProtocolInterpreter;
  using C = Controller;
  // In the order of pending_e.
  static constexpr std::array<AcceptedReplies, 12> table{{
      {"none",     {{{120},                &P::wait},
                    {{220},                &P::sendUser}}},

      {"user",     {{{230},                &P::logIn},
                    {{331},                &P::sendPassword},
                    {{332},                &P::sendAccount},
                    {{500, 501, 530},      &P::refuseLogin}}},

      {"password", {{{230},                &P::logIn},
                    {{202},                &P::logNotImplemented},
                    {{332},                &P::sendAccount},
                    {{500, 501, 503, 530}, &P::refuseLogin}}},

      {"account",  {{{230},                &P::logIn},
                    {{202},                &P::logNotImplemented},
                    {{500, 501, 503, 530}, &P::refuseLogin}}},

      {"port",     {{{200},                &P::report<&C::onPort, true>},
                    {{500, 501, 503},      &P::report<&C::onPort, false>},
                    {{530},                &P::logOut}}},

      {"passive",  {{{227},                &P::reportPassiveAddress},
                    {{500, 501, 503},      &P::reportPassiveFailure},
                    {{530},                &P::logOut}}},

      {"pwd",      {{{257},                &P::report<&C::onPwd, true>},
                    {{500, 501, 502, 550}, &P::report<&C::onPwd, false>}}},

      {"cwd",      {{{250},                &P::report<&C::onCwd, true>},
                    {{500, 501, 502, 550}, &P::report<&C::onCwd, false>},
                    {{530},                &P::logOut}}},

      {"cdup",     {{{200},                &P::report<&C::onCdup, true>},
                    {{500, 501, 502, 550}, &P::report<&C::onCdup, false>},
                    {{530},                &P::logOut}}},

      {"nlst",     {{{125, 150},           &P::wait},
                    {{226, 250},           &P::report<&C::onNlst, true>},
                    {{425, 426, 450, 451}, &P::report<&C::onNlst, false>},
                    {{500, 501, 502},      &P::report<&C::onNlst, false>},
                    {{530},                &P::logOut}}},

      {"retr",     {{{110},                &P::logRestartMarker},
                    {{125, 150},           &P::wait},
                    {{226, 250},           &P::report<&C::onRetrieve, true>},
                    {{425, 426, 450, 451}, &P::report<&C::onRetrieve, false>},
                    {{500, 501, 550},      &P::report<&C::onRetrieve, false>},
                    {{530},                &P::logOut}}},

      {"quit",     {{{221, 500},           &P::endSession}}},
  }};
  return table[static_cast<std::size_t>(command)];
}
// clang-format on

// Each action reports to the controller last, because the client may destroy the session in the callback.
void ProtocolInterpreter::onInput(const code_t& code, const Lines& lines) {
  const Reply reply{lines.empty() ? "unknown" : lines.front(), lines};
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
  const AcceptedReplies& accepted = acceptedReplies(pending);
  for (const Rule& rule : accepted.rules)
    for (const code_t& each : rule.codes)
      if (each == code) return (this->*rule.action)(reply);
  QK_LOG(qk::logging::LogLevel::Warning) << "Tovik: protocol interpreter: " << accepted.word << ": unknown reply "
                                         << code;
}

void ProtocolInterpreter::bringDown() {
  if (channel != nullptr) channel->bringDown();
}

void ProtocolInterpreter::wait(const Reply& /*reply*/) {}

void ProtocolInterpreter::sendUser(const Reply& /*reply*/) {
  pending = pending_e::user;
  sendCommand("USER " + controller.connection.user);
}

void ProtocolInterpreter::sendPassword(const Reply& /*reply*/) {
  pending = pending_e::password;
  sendCommand("PASS " + controller.connection.password);
}

void ProtocolInterpreter::sendAccount(const Reply& /*reply*/) {
  pending = pending_e::account;
  sendCommand("ACCT " + controller.connection.account);
}

void ProtocolInterpreter::logIn(const Reply& /*reply*/) {
  sessionState = 1;
  pending = pending_e::none;
  controller.onControlUp();
}

/// The client is not notified. A later greeting starts the login again.
void ProtocolInterpreter::refuseLogin(const Reply& /*reply*/) { pending = pending_e::none; }

/// For PASS and for ACCT, with the same text.
void ProtocolInterpreter::logNotImplemented(const Reply& /*reply*/) {
  QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: protocol interpreter: password not implemented";
}

void ProtocolInterpreter::logOut(const Reply& /*reply*/) {
  sessionState = 0;
  pending = pending_e::none;
  bringDown();
}

template <void (Controller::*event)(bool, const std::string&), bool ok>
void ProtocolInterpreter::report(const Reply& reply) {
  pending = pending_e::none;
  (controller.*event)(ok, reply.text);
}

void ProtocolInterpreter::reportPassiveAddress(const Reply& reply) {
  pending = pending_e::none;
  if (reply.lines.empty()) return controller.onPassiveFailure("no passive address");
  std::string numbers = reply.text;
  if (!findSubstring(numbers, '(', ')')) return controller.onPassiveFailure("address not delimited by ()");
  Address address(0);
  if (!convertAddr(numbers, address)) return controller.onPassiveFailure("couldn't parse " + numbers);
  controller.onPassiveSuccess(address);
}

void ProtocolInterpreter::reportPassiveFailure(const Reply& reply) {
  pending = pending_e::none;
  controller.onPassiveFailure(reply.text);
}

void ProtocolInterpreter::logRestartMarker(const Reply& /*reply*/) {
  QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: protocol interpreter: restart marker unhandled";
}

void ProtocolInterpreter::endSession(const Reply& /*reply*/) { bringDown(); }

}  // namespace tovik::ftp
