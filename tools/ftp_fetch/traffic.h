#pragma once

#include <tovik/thread_callbacks.h>
#include <tovik/worker_thread.h>

#include <mutex>

#include "ftp_fetch/conversation.h"

namespace ftp_fetch {

/// Counts the bytes that the sessions of one FetchWorker have received, from the counter of their worker thread: during
/// a transfer this is the only sign of progress. Also assigns the log records of that thread to the conversation.
///
/// Threads: any.
class Traffic final : public tovik::ThreadCallbacks {
 public:
  explicit Traffic(Conversation& conversation) : conversation_(conversation) {}

  unsigned long long bytes() const {
    const std::lock_guard lock(mutex_);
    return worker_ == nullptr ? before_ : before_ + (worker_->bytesReceived() - atStart_);
  }

  void onThreadStart(tovik::WorkerThread& worker) override {
    conversation_.adoptThread();
    const std::lock_guard lock(mutex_);
    worker_ = &worker;
    atStart_ = worker.bytesReceived();
  }

  void onThreadStop(tovik::WorkerThread& worker) override {
    const std::lock_guard lock(mutex_);
    before_ += worker.bytesReceived() - atStart_;
    worker_ = nullptr;
  }

 private:
  Conversation& conversation_;
  mutable std::mutex mutex_;  // guards the members below
  const tovik::WorkerThread* worker_ = nullptr;
  unsigned long long atStart_ = 0;
  unsigned long long before_ = 0;  // of earlier sessions
};

}  // namespace ftp_fetch
