#include "scenario_server.h"

#include <tovik/ftp_bridge/ftp_bridge.h>

#include <chrono>
#include <random>
#include <utility>

#include "support/failing_calls.h"
#include "support/rest.h"
#include "support/waiting.h"

namespace tovik::ftp {

using testing_support::loopback;
using testing_support::LoopbackSocket;
using testing_support::ReceiveCounter;

namespace {

/// When every other thread has been found asleep so often, one look after another, nothing more is on its way: between
/// two looks the kernel has time for the bytes that it still carries.
constexpr int looksAtRest = 15;
constexpr std::chrono::milliseconds betweenLooks{2};

std::string textOf(const Address& address) {
  std::string text;
  const Result converted = ProtocolInterpreter::convertAddr(address, text);
  if (!converted) throw std::runtime_error(converted.message);
  return text;
}

/// One of 729, each with as long a text as any other: the kernel keeps the ports of ended connections for a minute, and
/// those of a single address do not last for all the plays of a minute.
std::string someHome() {
  static std::mt19937 generator{std::random_device()()};
  std::uniform_int_distribution<int> digit(1, 9);
  const auto next = [&digit] { return '.' + std::to_string(digit(generator)); };
  return "127" + next() + next() + next();
}

/// At a port whose text is as long as any: the bytes of a scenario have the same numbers each time.
LoopbackSocket listeningWithLongText(const std::string& home) {
  constexpr std::string::size_type longest = sizeof "127,1,1,1,255,255" - 1;
  for (;;) {
    LoopbackSocket socket = LoopbackSocket::listening(loopback(0, home));
    if (textOf(socket.address()).size() == longest) return socket;
  }
}

}  // namespace

ScenarioServer::ScenarioServer(const ScriptedClient& client, Terms terms)
    : client_(client),
      terms_(terms),
      receivedBefore_(ReceiveCounter::bytes()),
      home_(someHome()),
      listener_(LoopbackSocket::listening(loopback(0, home_))),
      dataListener_(listeningWithLongText(home_)) {}

void ScenarioServer::play(const Scenario& scenario) {
  require(listener_);
  control_.socket = listener_.accept();
  for (const Step& step : scenario.steps()) {
    if (cut_ && (step.kind != Step::Kind::callback || !cutStepWhole_)) break;
    take(step);
  }
  if (!cut_) {
    control_.socket.close();
    return expectLine("onDisconnected");
  }
  if (terms_.delivery.kind == Delivery::Kind::cutControl) return endAfterControlCut();
  endAfterDataCut();
}

void ScenarioServer::hangUp() {
  control_.socket.close();
  data_.socket.close();
}

void ScenarioServer::take(const Step& step) {
  switch (step.kind) {
    case Step::Kind::expect:
      return expect(step.text);
    case Step::Kind::expectPort:
      return expectPort();
    case Step::Kind::reply:
      reply(step.text);
      if (step.report && (!cut_ || cutStepWhole_)) early_ = &step;
      return;
    case Step::Kind::offer:
      return offer(step.text);
    case Step::Kind::data:
      return sendData(step.text);
    case Step::Kind::endData:
      return endData();
    case Step::Kind::callback:
      return expectLine(step.text);
  }
}

void ScenarioServer::endAfterControlCut() {
  expectLine("onDisconnected");
  if (early_ == nullptr) return data_.socket.close();
  endData();
}

void ScenarioServer::endAfterDataCut() {
  if (early_ != nullptr) {
    expectLine(early_->report(transferred_));
  } else {
    send(control_, "426 Broken\r\n");
    expectLine(transfer_ == "NLST" ? "onNlstFailed Broken" : "onRetrieveFailed " + transfer_.substr(5) + " | Broken");
  }
  control_.socket.close();
  expectLine("onDisconnected");
}

void ScenarioServer::expect(const std::string& command) {
  const std::string line = readLine();
  if (line != command) throw Mismatch("got \"" + line + "\" instead of " + command);
  if (!command.starts_with("NLST") && !command.starts_with("RETR")) return;
  transfer_ = command;
  transferred_.clear();
  early_ = nullptr;
}

void ScenarioServer::expectPort() {
  const std::string line = readLine();
  if (!line.starts_with("PORT ")) throw Mismatch("got \"" + line + "\" instead of PORT");
  const Result converted = ProtocolInterpreter::convertAddr(line.substr(5), dataAddress_);
  if (!converted) throw Mismatch(converted.message);
  offered_ = false;
}

std::string ScenarioServer::readLine() {
  auto end = control_.unread.find("\r\n");
  while (end == std::string::npos) {
    require(control_.socket);
    const std::string more = control_.socket.receive();
    if (more.empty()) throw Mismatch("the control connection has ended");
    control_.unread += more;
    end = control_.unread.find("\r\n");
  }
  std::string line = control_.unread.substr(0, end);
  control_.unread.erase(0, end + 2);
  return line;
}

void ScenarioServer::offer(const std::string& text) {
  std::string whole = text;
  offered_ = true;
  reply(whole.replace(whole.find('%'), 1, textOf(dataListener_.address())));
}

void ScenarioServer::openData() {
  if (data_.socket.isOpen()) return;
  if (offered_) {
    require(dataListener_);
    data_.socket = dataListener_.accept();
  } else {
    data_.socket = LoopbackSocket::connected(dataAddress_);
  }
}

void ScenarioServer::reply(const std::string& bytes) {
  deliver(control_, bytes, Delivery::Kind::splitControl, Delivery::Kind::cutControl);
}

void ScenarioServer::sendData(const std::string& bytes) {
  openData();
  const long before = data_.sent;
  deliver(data_, bytes, Delivery::Kind::splitData, Delivery::Kind::cutData);
  transferred_ += bytes.substr(0, static_cast<unsigned long>(data_.sent - before));
}

/// The client has seen the end when it ends the connection too.
void ScenarioServer::endData() {
  openData();
  data_.socket.shutdownSending();
  if (!await({{data_.socket.number(), POLLIN, 0}})) throw Stall("the client does not end the connection");
  data_.socket.close();
  if (early_ == nullptr) return;
  // Reported by the next step, or after a cut by nobody else.
  if (cut_) expectLine(early_->report(transferred_));
}

void ScenarioServer::cut(Line& line) {
  cut_ = true;
  if (terms_.delivery.reset) return line.socket.reset();
  line.socket.close();
}

/// Sends bytes in the pieces of the delivery.
void ScenarioServer::deliver(Line& line, const std::string& bytes, Delivery::Kind split, Delivery::Kind cutting) {
  const Delivery& delivery = terms_.delivery;
  if (delivery.kind == Delivery::Kind::bytewise) {
    for (const char byte : bytes) send(line, std::string(1, byte));
    return;
  }
  const long first = delivery.at - line.sent;
  const bool here = first <= static_cast<long>(bytes.size()) && (first > 0 || (first == 0 && line.sent == 0));
  if (!here || (delivery.kind != split && delivery.kind != cutting)) return send(line, bytes);
  const auto head = static_cast<unsigned long>(first);
  send(line, bytes.substr(0, head));
  if (delivery.kind == cutting) {
    cutStepWhole_ = head == bytes.size();
    return cut(line);
  }
  send(line, bytes.substr(head));
}

void ScenarioServer::send(Line& line, const std::string& bytes) {
  line.socket.send(bytes);
  line.sent += static_cast<long>(bytes.size());
  sent_ += bytes.size();
  const auto isReceived = [this] { return ReceiveCounter::bytes() - receivedBefore_ >= sent_; };
  while (!isReceived()) {
    if (line.socket.hasEnded() && !isReceived()) throw Mismatch("the client has closed a connection");
    if (!await({{ReceiveCounter::event(), POLLIN, 0}, {line.socket.number(), POLLRDHUP, 0}}))
      throw Stall("the client does not receive");
    ReceiveCounter::clearEvent();
  }
}

void ScenarioServer::expectLine(const std::string& text) {
  expectedLines_.push_back(text);
  for (;;) {
    client_.clearEvent();
    const auto lines = client_.lines();
    if (lines.size() >= expectedLines_.size()) {
      if (lines[expectedLines_.size() - 1] == text) return;
      throw Mismatch("the client reports \"" + lines[expectedLines_.size() - 1] + "\" instead of \"" + text + '"');
    }
    if (!await({{client_.event(), POLLIN, 0}})) throw Stall("the client does not report \"" + text + '"');
  }
}

/// Waits until a socket has something to say; the connections must be silent meanwhile.
void ScenarioServer::require(const LoopbackSocket& wanted) const {
  std::vector<pollfd> speakers{{wanted.number(), POLLIN, 0}};
  for (const Line* line : {&control_, &data_})
    if (line->socket.isOpen() && &line->socket != &wanted) speakers.push_back({line->socket.number(), POLLIN, 0});
  if (!await(std::move(speakers))) throw Stall("nothing comes from the client");
  if (wanted.isQuiet()) throw Mismatch("another connection has ended, or speaks");
}

/// Waits for one of the events; false when it does not come.
bool ScenarioServer::await(std::vector<pollfd> events) const {
  const auto end = std::chrono::steady_clock::now() + testing_support::deadline;
  for (int looks = 0; looks < looksAtRest && std::chrono::steady_clock::now() < end;) {
    if (::poll(events.data(), events.size(), static_cast<int>(betweenLooks.count())) > 0) return true;
    looks = terms_.failing && testing_support::othersSleep() ? looks + 1 : 0;
  }
  return false;
}

}  // namespace tovik::ftp
