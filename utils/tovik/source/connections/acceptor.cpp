#include "connections/acceptor.h"

#include <qk/logging/logging.h>

#include <chrono>
#include <new>
#include <utility>

#include "connections/consumer_hold.h"
#include "connections/tcp_conduit.h"
#include "connections/transport_core.h"
#include "tovik/consumer.h"
#include "tovik/socket.h"
#include "tovik/thread.h"
#include "tovik/worker_thread.h"
#include "values/handler_exception.h"
#include "values/system.h"

namespace tovik {

namespace {

constexpr std::chrono::milliseconds pauseLength{100};

}  // namespace

Acceptor::Acceptor(std::shared_ptr<TransportCore> core, ConsumerGenerator* generator, Thread& server, std::string name)
    : core_(std::move(core)), generator_(generator), server_(server), name_(std::move(name)) {}

Result Acceptor::open(int listening) {
  const qk::MutexLock lock(mutex_);
  if (!stopping_) return failure(name_ + " is already running");
  if (Result added = core_->addCloseListener(shared_from_this()); !added) return added;
  if (Result watched = core_->worker().watchArrivals(listening, *this); !watched) {
    core_->removeCloseListener(shared_from_this());
    return watched;
  }
  listening_ = listening;
  watched_ = true;
  __atomic_store_n(&stopping_, false, __ATOMIC_RELEASE);
  return Success;
}

void Acceptor::close() {
  {
    const qk::MutexLock lock(mutex_);
    stopWatching();
  }
  core_->removeCloseListener(shared_from_this());
}

void Acceptor::onTransportClose() {
  core_->worker().requireCurrent();
  const qk::MutexLock lock(mutex_);
  if (!stopping_) sys::shutdown(listening_);
  stopWatching();
}

/// An event of this turn may still call the acceptor. Requesting another turn keeps it alive until this one ends.
void Acceptor::stopWatching() {
  if (stopping_) return;
  __atomic_store_n(&stopping_, true, __ATOMIC_RELEASE);
  if (std::exchange(watched_, false)) core_->worker().unwatch(listening_);
  core_->worker().schedule(shared_from_this());
}

bool Acceptor::wait(int limit_ms) {
  {
    const qk::MutexLock lock(mutex_);
    if (!calling_) return true;
  }
  return core_->worker().pass(limit_ms);
}

bool Acceptor::isOpen() const {
  const qk::MutexLock lock(mutex_);
  return !stopping_ || calling_;
}

void Acceptor::onReady(unsigned events) {
  core_->worker().requireCurrent();
  if (events == 0) return watchAgain();
  core_->start();
  if (!startCall()) return;
  try {
    server_.run(stopping_);
  } catch (...) {
    logHandlerException(name_.c_str());
  }
  endCall();
}

bool Acceptor::startCall() {
  const qk::MutexLock lock(mutex_);
  calling_ = !stopping_;
  return calling_;
}

void Acceptor::endCall() noexcept {
  const qk::MutexLock lock(mutex_);
  calling_ = false;
}

/// If there is no memory for the timer, there is no pause: the next turn tries again.
void Acceptor::pause() {
  core_->worker().requireCurrent();
  try {
    if (!pause_) pause_ = core_->worker().timers().add(core_->worker().now() + pauseLength, *this);
  } catch (const std::bad_alloc&) {
    return;
  }
  const qk::MutexLock lock(mutex_);
  if (std::exchange(watched_, false)) core_->worker().unwatch(listening_);
}

void Acceptor::onTimer() {
  core_->worker().requireCurrent();
  pause_.reset();
  watchAgain();
}

/// Runs after a pause and in the turn after each stop. The server may have been started again by then.
void Acceptor::watchAgain() {
  qk::MutexLock lock(mutex_);
  if (stopping_ && pause_) core_->worker().timers().cancel(*std::exchange(pause_, std::nullopt));
  if (stopping_ || watched_ || pause_) return;
  try {
    watched_ = bool{core_->worker().watchArrivals(listening_, *this)};
  } catch (const std::bad_alloc&) {
    // watchArrivals has failed, and there was no memory for its error text.
  }
  if (watched_) return;
  lock.unlock();
  pause();
  if (!pause_) core_->worker().schedule(shared_from_this());
}

void Acceptor::admit(Socket connection) {
  core_->worker().requireCurrent();
  try {
    if (Consumer* const consumer = generator_->getConsumer()) handOver(std::move(connection), *consumer);
  } catch (...) {
    logHandlerException(name_.c_str());
  }
}

void Acceptor::handOver(Socket connection, Consumer& consumer) {
  const ConsumerHold hold(*core_, consumer);
  if (!hold) return;
  consumer.onNewSocket(connection);
  const Result added = add(std::move(connection), hold.record());
  if (!added) QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: " << name_ << ": " << added.message;
}

Result Acceptor::add(Socket connection, const std::shared_ptr<ConsumerRecord>& consumer) {
  const qk::MutexLock lock(mutex_);
  return stopping_ ? failure("no longer listening")
                   : TcpConduit::add(core_, consumer, std::move(connection), true, name_, -1);
}

}  // namespace tovik
