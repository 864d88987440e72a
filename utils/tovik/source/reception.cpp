#include "reception.h"

#include <qk/logging/logging.h>

#include <chrono>
#include <utility>

#include "consumer_hold.h"
#include "handler_exception.h"
#include "system.h"
#include "tovik/consumer.h"
#include "tovik/socket.h"
#include "tovik/thread.h"
#include "tovik/worker_thread.h"
#include "transport_core.h"

namespace tovik {

namespace {

constexpr std::chrono::milliseconds pauseLength{100};

}  // namespace

Reception::Reception(std::shared_ptr<TransportCore> core, ConsumerGenerator* generator, Thread& server,
                     std::string name)
    : core_(std::move(core)), generator_(generator), server_(server), name_(std::move(name)) {}

Result Reception::open(int listening) {
  const std::lock_guard lock(mutex_);
  if (!stopping_) return failure(name_ + " is running already");
  if (Result added = core_->addReception(shared_from_this()); !added) return added;
  if (Result watched = core_->worker().watchArrivals(listening, *this); !watched) {
    core_->removeReception(shared_from_this());
    return watched;
  }
  listening_ = listening;
  __atomic_store_n(&stopping_, false, __ATOMIC_RELEASE);
  return Success;
}

void Reception::close() {
  {
    const std::lock_guard lock(mutex_);
    stopWatching();
  }
  core_->removeReception(shared_from_this());
}

void Reception::end() {
  const std::lock_guard lock(mutex_);
  if (!stopping_) sys::shutdown(listening_);
  stopWatching();
}

/// The worker is there for as long as this is open: a transport ends what is open before it lets go of its worker. That
/// turn is the first one in which no event can still reach this, and keeps it until then.
void Reception::stopWatching() {
  if (stopping_) return;
  __atomic_store_n(&stopping_, true, __ATOMIC_RELEASE);
  core_->worker().unwatch(listening_);
  core_->worker().schedule(shared_from_this());
}

bool Reception::wait(int limit_ms) {
  std::unique_lock lock(mutex_);
  const auto returned = [this] { return !calling_; };
  if (returned() || core_->worker().isCurrent()) return true;
  if (limit_ms >= 0) return called_.wait_for(lock, std::chrono::milliseconds(limit_ms), returned);
  called_.wait(lock, returned);
  return true;
}

bool Reception::isOpen() const {
  const std::lock_guard lock(mutex_);
  return !stopping_ || calling_;
}

void Reception::onReady(unsigned /*events*/) {
  if (pause_) core_->worker().timers().cancel(*std::exchange(pause_, std::nullopt));
  if (!beginCall()) return;
  try {
    server_.run(stopping_);
  } catch (...) {
    logHandlerException(name_.c_str());
  }
  endCall();
}

bool Reception::beginCall() {
  const std::lock_guard lock(mutex_);
  calling_ = !stopping_;
  return calling_;
}

void Reception::endCall() noexcept {
  const std::lock_guard lock(mutex_);
  calling_ = false;
  called_.notify_all();
}

void Reception::pause() {
  if (pause_) return;
  pause_ = core_->worker().timers().add(std::chrono::steady_clock::now() + pauseLength, *this);
  const std::lock_guard lock(mutex_);
  if (!stopping_) core_->worker().unwatch(listening_);
}

void Reception::onTimer() {
  pause_.reset();
  {
    const std::lock_guard lock(mutex_);
    if (stopping_ || core_->worker().watchArrivals(listening_, *this)) return;
  }
  pause();
}

void Reception::admit(Socket connection) {
  try {
    if (Consumer* const consumer = generator_->getConsumer()) handOver(std::move(connection), *consumer);
  } catch (...) {
    logHandlerException(name_.c_str());
  }
}

void Reception::handOver(Socket connection, Consumer& consumer) {
  const ConsumerHold hold(*core_, consumer);
  if (!hold) return;
  consumer.onNewSocket(connection);
  const Result added = add(std::move(connection), hold.record());
  if (!added) QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: " << name_ << ": " << added.message;
}

Result Reception::add(Socket connection, const std::shared_ptr<ConsumerRecord>& consumer) {
  const std::lock_guard lock(mutex_);
  return stopping_ ? failure("stopped listening") : core_->addConduit(std::move(connection), true, consumer, name_, -1);
}

}  // namespace tovik
