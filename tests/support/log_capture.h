#pragma once

#include <qk/logging/logging.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "waiting.h"

namespace testing_support {

/// Keeps every log record from a level on, for as long as it lives; nothing goes to standard error meanwhile.
class LogCapture {
 public:
  struct Entry {
    int level;
    std::string text;
    std::string file;
    int line;
    friend bool operator==(const Entry&, const Entry&) = default;
  };
  using Entries = std::vector<Entry>;

  explicit LogCapture(int fromLevel = 0) : levelBefore_(qk::logging::g_minLogLevel) {
    id_ = qk::logging::AddHandler([kept = kept_](const qk::logging::Record& record) {
      kept->change([&](Entries& entries) { entries.push_back({record.level, record.text, record.file, record.line}); });
    });
    qk::logging::SetMinLogLevel(fromLevel);
  }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;
  ~LogCapture() {
    qk::logging::SetMinLogLevel(levelBefore_);
    qk::logging::RemoveHandler(id_);
  }

  Entries entries() const { return kept_->get(); }
  std::vector<std::string> texts(int fromLevel = 0) const {
    std::vector<std::string> texts;
    for (const auto& entry : entries())
      if (entry.level >= fromLevel) texts.push_back(entry.text);
    return texts;
  }
  long count(const std::string& text) const {
    const auto all = texts();
    return std::count(all.begin(), all.end(), text);
  }
  long countContaining(const std::string& part) const {
    const auto all = texts();
    return std::count_if(all.begin(), all.end(),
                         [&](const std::string& text) { return text.find(part) != std::string::npos; });
  }
  [[nodiscard]] bool waitFor(const std::string& text, long times = 1) const {
    return kept_->waitUntil([&](const Entries& entries) {
      return std::count_if(entries.begin(), entries.end(), [&](const Entry& entry) { return entry.text == text; }) >=
             times;
    });
  }

 private:
  // Shared: a record that another thread is emitting when the handler is removed still reaches it.
  const std::shared_ptr<Awaited<Entries>> kept_ = std::make_shared<Awaited<Entries>>();
  const int levelBefore_;
  qk::logging::HandlerId id_ = 0;
};

}  // namespace testing_support
