#include <qk/logging/logging.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstring>
#include <map>
#include <string>

#include "dispatcher.h"
#include "fuzzer.h"
#include "session_host.h"
#include "session_server.h"

// A whole session against a server that does as the input says. The input: how the run ends, the count of the host's
// decisions, the decisions, and the server's acts, each with its arguments.

namespace {

/// What all runs share, since making it again would cost more than a run.
struct Surroundings {
  Surroundings() {
    static_cast<void>(qk::logging::AddHandler([this](const qk::logging::Record& record) {
      if (record.text == "Tovik: data connection up") ++dataUps;
    }));
    qk::logging::SetMinLogLevel(qk::logging::LogLevel::Trace);
    fuzz::require(bool{refusing.open(tovik::Protocol::tcp)}, "there are sockets");
    const sockaddr_in any = fuzz::localHost(0).native();
    fuzz::require(::bind(refusing.number(), reinterpret_cast<const sockaddr*>(&any), sizeof any) == 0, "and ports");
  }

  std::atomic<int> dataUps{0};
  tovik::Socket refusing;  // bound, but not listening
  fuzz::Listener control;
  fuzz::Listener data;
  const fuzz::Dispatcher dispatcher;
};

Surroundings& surroundings() {
  static Surroundings all;
  return all;
}

}  // namespace

extern "C" int __real_connect(int descriptor, const sockaddr* address, socklen_t size);

/// Stands before the system's connect. The addresses that the input makes the server announce may be anybody's: the
/// client gets no further than this process, where nobody listens on the rest.
extern "C" int __wrap_connect(int descriptor, const sockaddr* address, socklen_t size) {
  sockaddr_in wanted{};
  std::memcpy(&wanted, address, sizeof wanted);
  const tovik::Address remote(wanted);
  Surroundings& all = surroundings();
  if (!all.dispatcher.isWorker() || remote == all.control.address() || remote == all.data.address())
    return __real_connect(descriptor, address, size);
  const sockaddr_in instead = all.refusing.localAddress().native();
  return __real_connect(descriptor, reinterpret_cast<const sockaddr*>(&instead), sizeof instead);
}

namespace {

// Well-formed replies; a script could spell them, but would take long to find them.
constexpr std::array replies{
    "220 Ready.",
    "331 Password, please.",
    "332 Account, please.",
    "230 In.",
    "230-Welcome\r\n230 In.",
    "530 Not logged in.",
    "421 Closing.",
    "200 Done.",
    "250 Done.",
    "257 \"/pub\" is current.",
    "150 Here it comes.",
    "226 Transfer complete.",
    "426 Aborted.",
    "550 No such file.",
    "500 What?",
    "503 Not now.",
    "221 Goodbye.",
    "120 In a while.",
    "227 None.",
    "211-Status",
};

class Run {
 public:
  explicit Run(fuzz::Input input)
      : input_(std::move(input)),
        endsFirst_(input_.byte() % 2 == 1),
        host_(all_.dispatcher, sent_, input_.text(input_.byte() % 32)),
        server_(all_.control, all_.data, sent_) {}

  void go() {
    host_.start({all_.control.address(), fuzz::localHost(0), "user", "password", "account"});
    server_.acceptControl();
    for (int acts = 0; acts < 100 && !input_.isEmpty(); ++acts) act(input_.byte() % 18);
    if (endsFirst_) host_.end();
    server_.close();
    all_.dispatcher.settle();
    host_.end();
    host_.checkEnded();
    server_.close();
    all_.dispatcher.settle();
  }

 private:
  void act(unsigned number) {
    switch (number) {
      case 0:
        return answer();
      case 1:
        return finish();
      case 2:
        return server_.reply(replies[input_.byte() % replies.size()]);
      case 3:
        return server_.reply(input_.text(input_.byte()));
      case 4:
        return server_.control().send(input_.text(input_.byte()));
      case 5:
        return server_.reply(server_.passiveReply());
      case 6:
        return openData();
      case 7:
        return server_.data().send(input_.text(input_.byte()));
      case 8:
        return server_.data().send(std::string(64U * input_.byte(), '\n'));
      case 9:
        return server_.data().endSending();
      case 10:
        return server_.data().close();
      case 11:
        return server_.data().reset();
      case 12:
        return server_.control().endSending();
      case 13:
        return server_.control().close();
      case 14:
        return server_.control().reset();
      case 15:
        return all_.dispatcher.settle();
      case 16:
        all_.dispatcher.settle();
        return server_.acceptControl();
      default:
        return host_.stop();
    }
  }

  /// Replies as it should to the last command, and opens the data connection where that is next.
  void answer() {
    static const std::map<std::string, std::string> answers{
        {"", "220 Ready."},       {"USER", "331 Password, please."},
        {"PASS", "230 In."},      {"ACCT", "230 In."},
        {"PORT", "200 Done."},    {"PWD", "257 \"/\""},
        {"CWD", "250 Done."},     {"CDUP", "200 Done."},
        {"NLST", "150 Soon."},    {"RETR", "150 Soon."},
        {"QUIT", "221 Goodbye."},
    };
    all_.dispatcher.settle();
    const std::string command = server_.takeCommand();
    if (command == "PASV") return server_.reply(server_.passiveReply());
    server_.reply(answers.at(command));
    if (command == "NLST" || command == "RETR") openData();
  }

  void openData() {
    all_.dispatcher.settle();
    static_cast<void>(server_.takeCommand());
    if (!server_.isActive()) return server_.acceptData();
    const int before = all_.dataUps;
    if (server_.connectData()) upInTime(before);
  }

  /// The listener takes the connection, or drops it where the session has been stopped meanwhile.
  void upInTime(int before) {
    all_.dispatcher.settleUntil([&] { return all_.dataUps > before || server_.data().hasEnded(); },
                                "a listener takes a connection or drops it");
  }

  /// The end of a transfer: the data and the reply, in an order and with an end of the input's choice.
  void finish() {
    const unsigned choice = input_.byte();
    const std::string reply = (choice & 1U) != 0 ? "426 Aborted." : "226 Transfer complete.";
    const bool replyFirst = (choice & 2U) != 0;
    if (replyFirst) server_.reply(reply);
    if ((choice & 4U) != 0) all_.dispatcher.settle();
    server_.data().send("one\r\n two \r\n\r\nthree");
    if ((choice & 8U) != 0)
      server_.data().reset();
    else
      server_.data().close();
    if ((choice & 16U) != 0) all_.dispatcher.settle();
    if (!replyFirst) server_.reply(reply);
  }

  Surroundings& all_ = surroundings();
  fuzz::Input input_;
  const bool endsFirst_;
  fuzz::SentStreams sent_;
  fuzz::SessionHost host_;
  fuzz::SessionServer server_;
};

/// Descriptors are numbered from the lowest that is free.
int lowestFreeDescriptor() {
  const tovik::Descriptor probe(::dup(STDERR_FILENO));
  return probe.number();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static_cast<void>(surroundings());
  const int before = lowestFreeDescriptor();
  Run(fuzz::Input(data, size)).go();
  fuzz::require(lowestFreeDescriptor() == before, "no descriptor is left behind");
  return 0;
}
