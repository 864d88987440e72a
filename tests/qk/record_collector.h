#pragma once

#include <qk/logging/logging.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace qk::logging {

/// A handler that keeps the records it receives; installed while the collector exists. Any thread.
class RecordCollector {
 public:
  RecordCollector() : id_(AddHandler([kept = kept_](const Record& record) { kept->add(record); })) {}
  ~RecordCollector() { RemoveHandler(id_); }
  RecordCollector(const RecordCollector&) = delete;
  RecordCollector& operator=(const RecordCollector&) = delete;

  std::vector<Record> records() const {
    const std::lock_guard lock(kept_->mutex);
    return kept_->records;
  }

  std::vector<std::string> texts() const {
    std::vector<std::string> texts;
    for (const Record& record : records()) {
      texts.push_back(record.text);
    }
    return texts;
  }

 private:
  /// Shared with the handler, which another thread may be running when the collector is destroyed.
  struct Kept {
    void add(const Record& record) {
      const std::lock_guard lock(mutex);
      records.push_back(record);
    }

    std::mutex mutex;
    std::vector<Record> records;
  };

  const std::shared_ptr<Kept> kept_ = std::make_shared<Kept>();
  const HandlerId id_;
};

}  // namespace qk::logging
