#include <tovik/data_aggregator.h>
#include <tovik/ftp_bridge/ftp_bridge.h>

#include <string>
#include <utility>

#include "dispatcher.h"
#include "feeding.h"
#include "fuzzer.h"
#include "support/fake_channel.h"
#include "support/null_client.h"

// Bytes from the server on the control connection, with the session in any state. The input: the session's state, the
// size of the first piece, and the bytes. There is no network: the control channel is a fake, and the local address
// does not belong to this host, so every data connection fails before it is started.

namespace {

using tovik::Address;
using tovik::ftp::code_t;
using tovik::ftp::Controller;
using tovik::ftp::pending_e;
using tovik::ftp::ProtocolInterpreter;

constexpr const char* whiteSpace = " \t\n\r\v\f";

Controller::cmd_e commandOf(pending_e pending, bool retrieves) {
  const auto transfer = retrieves ? Controller::cmd_e::retr : Controller::cmd_e::nlst;
  switch (pending) {
    case pending_e::port:
    case pending_e::passive:
      return transfer;
    case pending_e::pwd:
      return Controller::cmd_e::pwd;
    case pending_e::cwd:
      return Controller::cmd_e::cwd;
    case pending_e::cdup:
      return Controller::cmd_e::cdup;
    case pending_e::nlst:
      return Controller::cmd_e::nlst;
    case pending_e::retr:
      return Controller::cmd_e::retr;
    case pending_e::quit:
      return Controller::cmd_e::quit;
    default:
      return Controller::cmd_e::none;
  }
}

/// The code at the start of a line, 0 if there is none.
int codeOf(const std::string& line) {
  if (line.size() < 3 || line.find_first_of("12345") != 0 || line.find_first_of("012345", 1) != 1) return 0;
  if (line.find_first_of("0123456789", 2) != 2) return 0;
  return std::stoi(line.substr(0, 3));
}

int number(const code_t& code) { return code.first * 100 + code.second * 10 + code.third; }

/// A client that starts the next command in each callback that ends one.
class Host : public testing_support::NullClient {
 public:
  Controller* controller = nullptr;
  unsigned next = 0;
  int calls = 0;

  void onDisconnected() override { fuzz::require(false, "onDisconnected is not called without a connection"); }

 private:
  void onOther(const char* /*callback*/, const std::string& /*text*/) override {
    ++calls;
    fuzz::require(controller->interpreter.pending == pending_e::none, "no reply is pending in a callback");
    fuzz::require(controller->interpreter.replyState == 0, "callbacks come only after a complete reply");
    fuzz::require(!controller->interpreter.replyLines.empty(), "a reply has lines");
    const tovik::Result started = begin(next++ % 6);
    fuzz::require(bool{started}, "the next command is accepted inside a callback");
  }

  tovik::Result begin(unsigned command) const {
    switch (command) {
      case 0:
        return controller->getPwd();
      case 1:
        return controller->changeCwd("directory");
      case 2:
        return controller->cdUp();
      case 3:
        return controller->getNlst(true);
      case 4:
        return controller->getFile("file", true);
      default:
        return controller->sendLogout();
    }
  }
};

/// Passes each line to the interpreter and checks the effect.
class CheckingHandler : public tovik::CharHandler {
 public:
  CheckingHandler(ProtocolInterpreter& interpreter, Host& host) : interpreter_(interpreter), host_(host) {}

  void onData(tovik::Channel* channel, const char* data, unsigned long size, tovik::Multicast* multicast) override {
    const int opened = interpreter_.replyState == 1 ? number(interpreter_.replyCode) : 0;
    const auto linesBefore = interpreter_.replyLines;
    host_.calls = 0;
    interpreter_.onData(channel, data, size, multicast);
    checkReading(std::string(data, size), opened, linesBefore);
    checkState();
    fuzz::require(host_.calls <= 1, "a reply ends at most one command");
  }

 private:
  void checkReading(const std::string& line, int opened, const ProtocolInterpreter::Lines& linesBefore) const {
    const int code = codeOf(line);
    const auto& lines = interpreter_.replyLines;
    const bool dropped = opened == 0 ? code == 0 : code != 0 && code != opened;
    const bool opens = opened == 0 && code != 0 && line.size() > 3 && line[3] == '-';
    const bool staysOpen = opened != 0 && code != opened;
    fuzz::require((interpreter_.replyState == 1) == (opens || staysOpen),
                  "a reply is open only between its first and its last line");
    if (interpreter_.replyState == 1)
      fuzz::require(number(interpreter_.replyCode) == (opens ? code : opened),
                    "an open reply has the code of its first line");
    if (dropped) return fuzz::require(lines == linesBefore, "a dropped line changes nothing");
    fuzz::require(lines.size() == (opened == 0 ? 1 : linesBefore.size() + 1), "every other line adds its text");
    if (code == 0) return fuzz::require(lines.back().empty(), "the text of a line without a code is empty");
    checkText(lines.back(), line);
  }

  static void checkText(const std::string& text, const std::string& line) {
    const std::string rest = line.substr(line.size() > 3 && line[3] == '-' ? 4 : 3);
    const auto begin = rest.find_first_not_of(whiteSpace);
    const auto end = rest.find_last_not_of(whiteSpace);
    fuzz::require(text == (begin == std::string::npos ? "" : rest.substr(begin, end - begin + 1)),
                  "the text is what follows the code");
  }

  void checkState() const {
    fuzz::require(interpreter_.replyState == 0 || interpreter_.replyState == 1, "the reply state is 0 or 1");
    fuzz::require(interpreter_.sessionState == 0 || interpreter_.sessionState == 1, "the session state is 0 or 1");
    fuzz::require(interpreter_.pending >= pending_e::none && interpreter_.pending <= pending_e::quit,
                  "the pending reply is that of a command");
    fuzz::require(interpreter_.replyState == 1 || interpreter_.replyCode == code_t{},
                  "there is no code without an open reply");
  }

  ProtocolInterpreter& interpreter_;
  Host& host_;
};

tovik::ftp::connection_data_t connection() {
  tovik::ftp::connection_data_t data{Address(9), Address(0), "user", "password", "account"};
  fuzz::require(bool{data.server.set_host("127.0.0.1")} && bool{data.local.set_host("203.0.113.1")},
                "the addresses are valid");
  return data;
}

/// Puts the controller into the state in which it waits for a reply.
void await(Controller& controller, unsigned pending, unsigned flags) {
  controller.interpreter.pending = static_cast<pending_e>(pending % 12);
  controller.interpreter.sessionState = (flags & 1U) != 0 ? 1 : 0;
  controller.command = commandOf(controller.interpreter.pending, (flags & 2U) != 0);
  controller.passive = true;
  if ((flags & 4U) != 0) controller.received = new std::string("a\r\n b \n\n");
  if (controller.interpreter.pending == pending_e::passive)
    controller.dataConnector = new tovik::ftp::DataConnector(controller);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fuzz::Dispatcher dispatcher;
  qk::logging::SetMinLogLevel(qk::logging::LogLevel::Error);
  fuzz::Input input(data, size);
  Host host;
  Controller controller(connection(), &host, "fuzz", 0, nullptr);
  host.controller = &controller;
  const unsigned pending = input.byte();
  const unsigned flags = input.byte();
  host.next = flags >> 3U;
  await(controller, pending, flags);

  testing_support::FakeChannel channel(tovik::Traits().max_unit_bytes);
  controller.interpreter.onChannelUp(&channel);
  CheckingHandler handler(controller.interpreter, host);
  tovik::BufferedAggregator aggregator(&channel, &handler, &controller.interpreter);
  fuzz::feed(aggregator, channel, input.text(input.byte()));
  fuzz::feed(aggregator, channel, input.rest());

  // The destructor does not free the partial content of a failed transfer.
  delete std::exchange(controller.received, nullptr);
  return 0;
}
