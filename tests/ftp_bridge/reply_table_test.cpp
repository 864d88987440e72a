#include "reply_table.h"

#include <string>
#include <utility>

#include "controller_fixture.h"

namespace tovik::ftp {
namespace {

using testing_support::LogCapture;

/// One reply at a time, on an interpreter in the given state whose controller stands ready for whatever follows.
class ReplyTable : public ControllerFixture {
 protected:
  Effects effectsOf(int sessionState, pending_e pending, int code) {
    interpreter().sessionState = sessionState;
    interpreter().pending = pending;
    standReady(pending);
    channel.clear();
    const LogCapture logOfThis;
    const auto callbacksBefore = std::ssize(client.lines());
    serverSends(std::to_string(code) + " text");
    Effects effects{interpreter().sessionState, interpreter().pending, commands(), client.lines(),
                    notes(code, logOfThis),     channel.bringDowns()};
    effects.callbacks.erase(effects.callbacks.begin(), effects.callbacks.begin() + callbacksBefore);
    return effects;
  }

  static Effects expected(int sessionState, pending_e pending, int code) {
    Effects effects{sessionState, pending, {}, {}, {}, 0};
    actionOn(sessionState, pending, code)(effects);
    return effects;
  }

 private:
  void standReady(pending_e pending) {
    controller->prepareCommand(pending == pending_e::retr ? cmd_e::retr : cmd_e::nlst);
    controller->fileName = "file";
    if (pending == pending_e::nlst || pending == pending_e::retr) controller->received = new std::string("x");
  }

  std::vector<std::string> commands() const {
    std::vector<std::string> texts;
    for (const auto& line : channel.sent()) {
      EXPECT_TRUE(line.ends_with("\r\n"));
      texts.push_back(line.substr(0, line.size() - 2));
    }
    return texts;
  }

  /// The log without the reply, which comes first, and the commands.
  static std::vector<std::string> notes(int code, const LogCapture& log) {
    auto texts = log.texts();
    EXPECT_EQ(texts.at(0), "Tovik: [FTP] " + std::to_string(code) + " \"text\" ");
    std::erase_if(texts, [](const auto& text) { return text.starts_with("Tovik: [FTP] "); });
    for (const auto& entry : log.entries()) EXPECT_EQ(entry.level, levelOf(entry.text)) << entry.text;
    return texts;
  }

  static int levelOf(const std::string& text) {
    return text.find("unknown reply") != std::string::npos || text.find("bad pending") != std::string::npos ? 30 : 0;
  }
};

/// Each pending command with each code that can be parsed.
class EveryReply : public ReplyTable, public ::testing::WithParamInterface<std::pair<int, pending_e>> {};

TEST_P(EveryReply, DoesWhatTheTableSays) {
  const auto [sessionState, pending] = GetParam();
  for (int code = 100; code < 560; ++code)
    if (code / 10 % 10 <= 5) {
      EXPECT_EQ(effectsOf(sessionState, pending, code), expected(sessionState, pending, code)) << "on " << code;
    }
}

std::vector<std::pair<int, pending_e>> everyState() {
  std::vector<std::pair<int, pending_e>> states;
  for (const int sessionState : {0, 1})
    for (const pending_e pending : allPending()) states.emplace_back(sessionState, pending);
  return states;
}

INSTANTIATE_TEST_SUITE_P(WhilePending, EveryReply, ::testing::ValuesIn(everyState()), [](const auto& state) {
  return wordOf(state.param.second) + std::string(state.param.first == 0 ? "WhileDown" : "WhileUp");
});

TEST(PendingCommands, HaveTheirNumbers) {
  int number = 0;
  for (const pending_e pending : allPending()) EXPECT_EQ(static_cast<int>(pending), number++);
  EXPECT_EQ(number, 12);
}

}  // namespace
}  // namespace tovik::ftp
