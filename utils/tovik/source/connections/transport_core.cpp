#include "connections/transport_core.h"

#include <utility>

#include "connections/consumer_record.h"
#include "tovik/consumer.h"
#include "tovik/socket_dir.h"
#include "tovik/thread_callbacks.h"
#include "tovik/worker_thread.h"
#include "values/handler_exception.h"

namespace tovik {

TransportCore::TransportCore(std::shared_ptr<WorkerThread> worker, const Traits& traits, ThreadCallbacks* callbacks,
                             Factory* factory, const OnWorker& onWorker, std::string name)
    : worker_(std::move(worker)),
      traits_(traits),
      callbacks_(callbacks),
      factory_(factory),
      name_(std::move(name)),
      counters_(&worker_->connections()),
      onWorker_(onWorker) {}

TransportCore::~TransportCore() {
  while (takeRetired() != nullptr) {
  }
}

std::shared_ptr<ConsumerRecord> TransportCore::hold(Consumer& consumer) {
  const qk::MutexLock lock(mutex_);
  if (closed_) return nullptr;
  auto record = recordFor(consumer);
  return record != nullptr && record->hold() ? record : nullptr;
}

void TransportCore::release(const std::shared_ptr<ConsumerRecord>& record) {
  const ConsumerRecord::Remaining remaining = record->release();
  if (remaining == ConsumerRecord::Remaining::others) return;
  const qk::MutexLock lock(mutex_);
  if (remaining == ConsumerRecord::Remaining::noneAndRetired) return destroy(record->consumer());
  // Another thread may hold or retire the consumer by now, and there may be a new one at its address.
  const auto found = records_.find(&record->consumer());
  if (found != records_.end() && found->second == record && record->isIdle()) records_.erase(found);
}

Result TransportCore::add(const std::shared_ptr<Connection>& connection, ConsumerRecord& record) {
  const qk::MutexLock lock(mutex_);
  if (closed_) return failure("transport " + name_ + " is closed");
  if (!record.hold()) return failure("the consumer of " + connection->name() + " is retired");
  connection->number = ++connectionsAdded_;
  connections_.add(*connection);
  record.connections.add(*connection);
  worker_->schedule(connection);
  return Success;
}

void TransportCore::removeConnection(Connection& connection, ConsumerRecord& record) noexcept {
  worker_->requireCurrent();
  std::shared_ptr<Connection> removed;  // released without the lock
  const qk::MutexLock lock(mutex_);
  removed = record.connections.remove(connection);
  removed = connections_.remove(connection);
}

Result TransportCore::addCloseListener(std::shared_ptr<TransportCloseListener> listener) {
  const qk::MutexLock lock(mutex_);
  if (closed_) return failure("transport " + name_ + " is closed");
  closeListeners_.insert(std::move(listener));
  return Success;
}

void TransportCore::removeCloseListener(const std::shared_ptr<TransportCloseListener>& listener) noexcept {
  const qk::MutexLock lock(mutex_);
  closeListeners_.erase(listener);
}

void TransportCore::retire(Consumer& consumer) {
  qk::MutexLock lock(mutex_);
  const auto record = findRecord(consumer);
  if (record == nullptr || record->retire()) return destroy(consumer);
  if (worker_->isCurrent()) {
    lock.unlock();
    return endConnections(record.get());
  }
  record->nextRetired = std::move(retiredElsewhere_);
  retiredElsewhere_ = record;
  worker_->schedule(shared_from_this());
}

/// The destructor runs without the lock: it may wait for other threads, and use the transport.
void TransportCore::destroy(Consumer& consumer) {
  BeingDestroyed self{&consumer, beingDestroyed_};
  beingDestroyed_ = &self;
  records_.erase(&consumer);
  mutex_.unlock();
  delete &consumer;
  mutex_.lock();
  BeingDestroyed** link = &beingDestroyed_;
  while (*link != &self) link = &(*link)->next;
  *link = self.next;
}

void TransportCore::start() {
  worker_->requireCurrent();
  if (std::exchange(started_, true)) return;
  try {
    if (callbacks_ != nullptr) callbacks_->onThreadStart(*worker_);
    if (onWorker_) onWorker_(worker_.get());
  } catch (...) {
    logHandlerException("transport start");
  }
}

void TransportCore::onReady(unsigned /*events*/) {
  start();
  while (const auto record = takeRetired()) endConnections(record.get());
}

void TransportCore::endConnections() { endConnections(nullptr); }

/// Ends the connections of one consumer, or all if record is null. Ends them one at a time, and only those that exist
/// now: a consumer that is notified may end others, or start new ones, which continue.
void TransportCore::endConnections(const ConsumerRecord* record) {
  worker_->requireCurrent();
  unsigned long long last = 0;
  {
    const qk::MutexLock lock(mutex_);
    last = connectionsAdded_;
  }
  while (const auto connection = firstConnection(record, last)) connection->end(dirLocal);
}

void TransportCore::endConnectionsSoon() noexcept {
  const qk::MutexLock lock(mutex_);
  connections_.forEach([](Connection& each) { each.requestEnd(dirFailed); });
}

void TransportCore::refuseNew() {
  const qk::MutexLock lock(mutex_);
  closed_ = true;
}

void TransportCore::close() {
  worker_->requireCurrent();
  decltype(closeListeners_) listeners;
  {
    const qk::MutexLock lock(mutex_);
    closed_ = true;
    listeners.swap(closeListeners_);
  }
  for (const auto& listener : listeners) listener->onTransportClose();
  // Does not wait for the turn that calls start: the callbacks may have been destroyed by then.
  start();
  endConnections();
  try {
    if (callbacks_ != nullptr) callbacks_->onThreadStop(*worker_);
  } catch (...) {
    logHandlerException("transport stop");
  }
}

std::shared_ptr<ConsumerRecord> TransportCore::findRecord(Consumer& consumer) const {
  const auto found = records_.find(&consumer);
  return found == records_.end() ? nullptr : found->second;
}

/// Returns null for a consumer that is being destroyed.
std::shared_ptr<ConsumerRecord> TransportCore::recordFor(Consumer& consumer) {
  for (const BeingDestroyed* each = beingDestroyed_; each != nullptr; each = each->next)
    if (each->consumer == &consumer) return nullptr;
  auto record = findRecord(consumer);
  if (record == nullptr) {
    record = std::make_shared<ConsumerRecord>(consumer);
    records_.emplace(&consumer, record);
  }
  return record;
}

/// Removes and returns the last consumer that another thread has retired; null if there is none.
std::shared_ptr<ConsumerRecord> TransportCore::takeRetired() {
  const qk::MutexLock lock(mutex_);
  auto taken = std::move(retiredElsewhere_);
  if (taken != nullptr) retiredElsewhere_ = std::move(taken->nextRetired);
  return taken;
}

/// Returns the first connection of one consumer, or of all if record is null; null if there is none or its number is
/// higher than highestNumber.
std::shared_ptr<Connection> TransportCore::firstConnection(const ConsumerRecord* record,
                                                           unsigned long long highestNumber) {
  const qk::MutexLock lock(mutex_);
  Connection* const first = record == nullptr ? connections_.first() : record->connections.first();
  return first == nullptr || first->number > highestNumber ? nullptr : first->shared_from_this();
}

}  // namespace tovik
