#include "scripted_server.h"

#include <tovik/ftp_bridge/ftp_bridge.h>

#include <stdexcept>
#include <utility>

namespace tovik::ftp {

namespace {

std::string visible(const std::string& bytes) {
  std::string text;
  for (const char c : bytes) {
    if (c == '\r')
      text += "\\r";
    else if (c == '\n')
      text += "\\n";
    else
      text += c;
  }
  return '"' + text + '"';
}

void requireEnd(const std::string& received) {
  if (!received.empty()) throw std::runtime_error("saw " + visible(received));
}

std::string offerOf(const Address& address) {
  std::string text;
  const Result converted = ProtocolInterpreter::convertAddr(address, text);
  if (!converted) throw std::runtime_error(converted.message);
  return "227 Entering Passive Mode (" + text + ")";
}

}  // namespace

ScriptedServer::ScriptedServer() = default;

ScriptedServer::~ScriptedServer() {
  state_.change([](State& state) { state.over = true; });
  thread_.join();
}

ScriptedServer& ScriptedServer::accept() {
  return add("accept", [this] {
    if (control_.isOpen()) earlier_.push_back(std::move(control_));
    control_ = listener_.accept();
    unread_.clear();
    state_.change([this](State& state) { state.controlPeer = control_.peer().printInet(); });
  });
}

ScriptedServer& ScriptedServer::expect(const std::string& command) {
  return add("expect " + command, [this, command] {
    const std::string line = readLine();
    if (line != command + "\r\n") throw std::runtime_error("saw " + visible(line));
  });
}

ScriptedServer& ScriptedServer::expectPort() {
  return add("expect PORT", [this] {
    const std::string line = readLine();
    if (!line.starts_with("PORT ") || !line.ends_with("\r\n")) throw std::runtime_error("saw " + visible(line));
    const std::string argument = line.substr(5, line.size() - 7);
    dataListener_.close();
    const Result converted = ProtocolInterpreter::convertAddr(argument, dataAddress_);
    if (!converted) throw std::runtime_error(converted.message);
    state_.change([&](State& state) { state.port = argument; });
  });
}

ScriptedServer& ScriptedServer::reply(const std::string& text) {
  return add("reply " + text, [this, text] {
    note("> " + text);
    control_.send(text + "\r\n");
  });
}

ScriptedServer& ScriptedServer::replyRaw(const std::string& bytes) {
  return add("reply", [this, bytes] { control_.send(bytes); });
}

ScriptedServer& ScriptedServer::expectClose() {
  return add("expect the control connection's end", [this] {
    requireEnd(unread_ + control_.receive());
    note("closed");
    control_.close();
  });
}

ScriptedServer& ScriptedServer::close() {
  return add("close", [this] { control_.close(); });
}

ScriptedServer& ScriptedServer::reset() {
  return add("reset", [this] { control_.reset(); });
}

ScriptedServer& ScriptedServer::offerData() {
  return add("offer a data connection", [this] {
    dataListener_ = Socket::listening();
    const std::string text = offerOf(dataListener_.address());
    note("> 227");
    control_.send(text + "\r\n");
  });
}

ScriptedServer& ScriptedServer::data(const std::string& bytes) {
  return add("send data", [this, bytes] {
    openData();
    note("data of " + std::to_string(bytes.size()) + " bytes");
    data_.send(bytes);
  });
}

ScriptedServer& ScriptedServer::expectDataClose() {
  return add("expect the data connection's end", [this] {
    openData();
    requireEnd(data_.receive());
    data_.close();
  });
}

ScriptedServer& ScriptedServer::closeData() {
  return add("close the data connection", [this] {
    openData();
    note("data closed");
    data_.close();
  });
}

ScriptedServer& ScriptedServer::login() {
  return accept().reply("220 Ready").expect("USER me").reply("331 Password?").expect("PASS secret").reply("230 Hello");
}

ScriptedServer& ScriptedServer::onControl(const std::string& what, std::function<void(const Socket&)> act) {
  return add(what, [this, act = std::move(act)] { act(control_); });
}

ScriptedServer& ScriptedServer::onData(const std::string& what, std::function<void(const Socket&)> act) {
  return add(what, [this, act = std::move(act)] {
    openData();
    act(data_);
  });
}

ScriptedServer& ScriptedServer::until(std::function<bool()> condition, const std::string& what) {
  return add("until " + what, [condition = std::move(condition)] {
    if (!condition()) throw std::runtime_error("it did not come");
  });
}

::testing::AssertionResult ScriptedServer::played() const {
  const bool ended = state_.waitUntil(
      [](const State& state) { return !state.failure.empty() || (state.steps.empty() && !state.busy); });
  const State state = state_.get();
  if (ended && state.failure.empty()) return ::testing::AssertionSuccess();
  auto result = ::testing::AssertionFailure() << (ended ? state.failure : "the script is not at its end");
  for (const auto& line : state.transcript) result << "\n  " << line;
  return result;
}

ScriptedServer& ScriptedServer::add(const std::string& what, std::function<void()> play) {
  state_.change([&](State& state) {
    if (state.failure.empty()) state.steps.push_back({what, std::move(play)});
  });
  return *this;
}

void ScriptedServer::play() {
  while (playNext()) continue;
}

/// Waits for a step and plays it; false when there will be none.
bool ScriptedServer::playNext() {
  if (!state_.waitUntil([](const State& state) { return state.over || !state.steps.empty(); })) return true;
  Step step;
  state_.change([&](State& state) {
    if (state.over) return;
    step = std::move(state.steps.front());
    state.steps.pop_front();
    state.busy = true;
  });
  if (!step.play) return false;
  try {
    step.play();
  } catch (const std::exception& exception) {
    fail(step.what + ": " + exception.what());
  }
  state_.change([](State& state) { state.busy = false; });
  return true;
}

void ScriptedServer::fail(const std::string& what) {
  state_.change([&](State& state) {
    state.failure = what;
    state.steps.clear();
  });
  earlier_.clear();
  control_.close();
  data_.close();
  dataListener_.close();
}

void ScriptedServer::note(const std::string& line) {
  state_.change([&](State& state) { state.transcript.push_back(line); });
}

/// With its end; what there is of it when the client closes.
std::string ScriptedServer::readLine() {
  auto end = unread_.find("\r\n");
  while (end == std::string::npos) {
    const std::string more = control_.receive();
    if (more.empty()) return std::exchange(unread_, {});
    unread_ += more;
    end = unread_.find("\r\n");
  }
  std::string line = unread_.substr(0, end + 2);
  unread_.erase(0, end + 2);
  note("< " + line.substr(0, end));
  return line;
}

void ScriptedServer::openData() {
  if (data_.isOpen()) return;
  data_ = dataListener_.isOpen() ? dataListener_.accept() : Socket::connected(dataAddress_);
  dataListener_.close();
  state_.change([this](State& state) { state.dataPeer = data_.peer().printInet(); });
}

}  // namespace tovik::ftp
