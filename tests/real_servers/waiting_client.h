#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "support/null_client.h"
#include "support/waiting.h"

namespace real_servers {

/// Records each callback as a line, for the test's thread to wait for.
class WaitingClient : public testing_support::NullClient {
 public:
  /// Waits for the next callback that has not been taken yet; not again once one has failed to come.
  std::string next() {
    lost_ = lost_ || !state_.waitUntil([&](const State& state) { return state.events.size() > taken_; });
    return lost_ ? "no callback came" : state_.get().events[taken_++];
  }
  std::vector<std::string> names() const { return state_.get().names; }
  std::string takeContent() {
    std::string content;
    state_.change([&](State& state) { content.swap(state.content); });
    return content;
  }

  void onNlst(const std::vector<std::string>& names, const std::string& text) override {
    state_.change([&](State& state) { state.names = names; });
    record("onNlst: " + text);
  }
  void onRetrieve(const std::string& fileName, const std::string& text, std::string* content) override {
    const std::unique_ptr<std::string> owned(content);
    // Of a file without a byte there may be no content at all.
    state_.change([&](State& state) { state.content = owned ? std::move(*owned) : std::string(); });
    record("onRetrieve " + fileName + ": " + text);
  }
  void onRetrieveFailed(const std::string& fileName, const std::string& text) override {
    record("onRetrieveFailed " + fileName + ": " + text);
  }

 private:
  struct State {
    std::vector<std::string> events;
    std::vector<std::string> names;
    std::string content;
  };

  void onOther(const char* callback, const std::string& text) override {
    record(text.empty() ? callback : callback + (": " + text));
  }
  void record(const std::string& event) {
    state_.change([&](State& state) { state.events.push_back(event); });
  }

  testing_support::Awaited<State> state_;
  std::size_t taken_ = 0;
  bool lost_ = false;
};

}  // namespace real_servers
