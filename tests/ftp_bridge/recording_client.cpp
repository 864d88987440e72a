#include "recording_client.h"

#include <gtest/gtest.h>

#include <utility>

namespace tovik::ftp {

namespace {

constexpr std::string::size_type shownWhole = 64;

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const auto& name : names) text += (text.empty() ? "" : ",") + name;
  return text;
}

std::string shown(const std::string* content) {
  if (content == nullptr) return "null";
  return content->size() <= shownWhole ? *content : std::to_string(content->size()) + " bytes";
}

/// Counts a call as ended, however it ends.
class Ending {
 public:
  explicit Ending(std::function<void()> note) : note_(std::move(note)) {}
  Ending(const Ending&) = delete;
  Ending& operator=(const Ending&) = delete;
  ~Ending() { note_(); }

 private:
  const std::function<void()> note_;
};

}  // namespace

void RecordingClient::whenever(const std::string& callback, Action action) {
  state_.change([&](State& state) { state.actions[callback] = std::move(action); });
}

bool RecordingClient::waits(const std::string& callback, long times) const {
  return state_.waitUntil([&](const State& state) {
    const auto found = state.ended.find(callback);
    return found != state.ended.end() && found->second >= times;
  });
}

long RecordingClient::callsOf(const std::string& callback) const { return state_.get().started[callback]; }

void RecordingClient::called(const std::string& callback, const std::function<std::string()>& line) {
  const std::string before = line();
  Action action;
  state_.change([&](State& state) {
    state.lines.push_back(before);
    ++state.started[callback];
    action = state.actions[callback];
  });
  const Ending ending([&] { state_.change([&](State& state) { ++state.ended[callback]; }); });
  if (action) action();
  EXPECT_EQ(line(), before) << "an argument did not outlast the callback";
}

void RecordingClient::onConnected() {
  called("onConnected", [] { return "onConnected"; });
}

void RecordingClient::onDisconnected() {
  called("onDisconnected", [] { return "onDisconnected"; });
}

void RecordingClient::onPwd(const std::string& directory) {
  called("onPwd", [&] { return "onPwd " + directory; });
}

void RecordingClient::onPwdFailed(const std::string& text) {
  called("onPwdFailed", [&] { return "onPwdFailed " + text; });
}

void RecordingClient::onCwd(const std::string& text) {
  called("onCwd", [&] { return "onCwd " + text; });
}

void RecordingClient::onCwdFailed(const std::string& text) {
  called("onCwdFailed", [&] { return "onCwdFailed " + text; });
}

void RecordingClient::onCdup(const std::string& text) {
  called("onCdup", [&] { return "onCdup " + text; });
}

void RecordingClient::onCdupFailed(const std::string& text) {
  called("onCdupFailed", [&] { return "onCdupFailed " + text; });
}

void RecordingClient::onNlst(const std::vector<std::string>& names, const std::string& text) {
  called("onNlst", [&] { return "onNlst " + joined(names) + " | " + text; });
}

void RecordingClient::onNlstFailed(const std::string& text) {
  called("onNlstFailed", [&] { return "onNlstFailed " + text; });
}

void RecordingClient::onRetrieve(const std::string& fileName, const std::string& text, std::string* content) {
  const std::shared_ptr<const std::string> owned(content);
  state_.change([&](State& state) { state.content = owned; });
  called("onRetrieve", [&] { return "onRetrieve " + fileName + " | " + text + " | " + shown(content); });
}

void RecordingClient::onRetrieveFailed(const std::string& fileName, const std::string& text) {
  called("onRetrieveFailed", [&] { return "onRetrieveFailed " + fileName + " | " + text; });
}

}  // namespace tovik::ftp
