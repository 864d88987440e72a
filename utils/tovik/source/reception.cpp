#include "reception.h"

#include <qk/logging/logging.h>

#include <utility>

#include "consumer_hold.h"
#include "handler_exception.h"
#include "tovik/consumer.h"
#include "tovik/socket.h"
#include "tovik/worker_thread.h"
#include "transport_core.h"

namespace tovik {

Reception::Reception(std::shared_ptr<TransportCore> core, ConsumerGenerator* generator, std::string name)
    : core_(std::move(core)), generator_(generator), name_(std::move(name)) {}

void Reception::open() {
  const std::lock_guard lock(mutex_);
  open_ = true;
}

void Reception::close() {
  std::unique_lock lock(mutex_);
  open_ = false;
  if (!core_->worker().isCurrent()) asked_.wait(lock, [this] { return !asking_; });
}

void Reception::admit(Socket connection) {
  if (!beginAsking()) return;
  try {
    if (Consumer* const consumer = generator_->getConsumer()) handOver(std::move(connection), *consumer);
  } catch (...) {
    logHandlerException(name_.c_str());
  }
  endAsking();
}

void Reception::handOver(Socket connection, Consumer& consumer) {
  const ConsumerHold hold(*core_, consumer);
  if (!hold) return;
  consumer.onNewSocket(connection);
  const std::lock_guard lock(mutex_);
  const Result added =
      open_ ? core_->addConduit(std::move(connection), true, hold.record(), name_, -1) : failure("stopped listening");
  if (!added) QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: " << name_ << ": " << added.message;
}

bool Reception::beginAsking() {
  const std::lock_guard lock(mutex_);
  asking_ = open_;
  return open_;
}

void Reception::endAsking() noexcept {
  const std::lock_guard lock(mutex_);
  asking_ = false;
  asked_.notify_all();
}

}  // namespace tovik
