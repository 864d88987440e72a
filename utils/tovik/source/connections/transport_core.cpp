#include "connections/transport_core.h"

#include <utility>
#include <vector>

#include "connections/acceptor.h"
#include "connections/consumer_record.h"
#include "connections/tcp_conduit.h"
#include "tovik/consumer.h"
#include "tovik/socket.h"
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

TransportCore::~TransportCore() = default;

std::shared_ptr<ConsumerRecord> TransportCore::hold(Consumer& consumer) {
  const std::lock_guard lock(mutex_);
  if (closed_) return nullptr;
  auto record = recordFor(consumer);
  return record != nullptr && record->hold() ? record : nullptr;
}

void TransportCore::release(const std::shared_ptr<ConsumerRecord>& record) {
  const ConsumerRecord::Remaining left = record->release();
  if (left == ConsumerRecord::Remaining::others) return;
  std::unique_lock lock(mutex_);
  if (left == ConsumerRecord::Remaining::noneAndRetired) return destroy(record->consumer(), std::move(lock));
  // Another thread may hold or retire the consumer by now, and there may be a new one at its address.
  const auto found = records_.find(&record->consumer());
  if (found != records_.end() && found->second == record && record->isIdle()) records_.erase(found);
}

Result TransportCore::addConduit(Socket socket, bool connected, const std::shared_ptr<ConsumerRecord>& record,
                                 const std::string& name, int limit_ms) {
  const std::lock_guard lock(mutex_);
  if (closed_) return failure("transport " + name_ + " is closed");
  const auto conduit = std::make_shared<TcpConduit>(shared_from_this(), record, std::move(socket), connected, name,
                                                    ++conduitsAdded_, limit_ms);
  Conduits inTransport{conduit};
  ConsumerRecord::Conduits inRecord{conduit.get()};
  if (!record->hold()) return failure("the consumer of " + name + " is retired");
  conduit->setPlace({inTransport.begin(), inRecord.begin()});
  conduits_.splice(conduits_.end(), inTransport);
  record->conduits().splice(record->conduits().end(), inRecord);
  worker_->schedule(conduit);
  return Success;
}

void TransportCore::removeConduit(const Place& place, ConsumerRecord& record) noexcept {
  Conduits removed;  // released without the lock
  const std::lock_guard lock(mutex_);
  record.conduits().erase(place.inRecord);
  removed.splice(removed.begin(), conduits_, place.inTransport);
}

Result TransportCore::addAcceptor(std::shared_ptr<Acceptor> acceptor) {
  const std::lock_guard lock(mutex_);
  if (closed_) return failure("transport " + name_ + " is closed");
  acceptors_.insert(std::move(acceptor));
  return Success;
}

void TransportCore::removeAcceptor(const std::shared_ptr<Acceptor>& acceptor) noexcept {
  const std::lock_guard lock(mutex_);
  acceptors_.erase(acceptor);
}

void TransportCore::retire(Consumer& consumer) {
  std::unique_lock lock(mutex_);
  const auto record = findRecord(consumer);
  if (record == nullptr || record->retire()) return destroy(consumer, std::move(lock));
  if (!worker_->isCurrent()) return worker_->schedule(record);
  lock.unlock();
  endConduitsOf(*record);
}

/// With the lock, but not around the destructor: that may wait for other threads, and use the transport.
void TransportCore::destroy(Consumer& consumer, std::unique_lock<std::mutex> lock) {
  BeingDestroyed self{&consumer, beingDestroyed_};
  beingDestroyed_ = &self;
  records_.erase(&consumer);
  lock.unlock();
  delete &consumer;
  lock.lock();
  BeingDestroyed** link = &beingDestroyed_;
  while (*link != &self) link = &(*link)->next;
  *link = self.next;
}

void TransportCore::begin() {
  if (std::exchange(started_, true)) return;
  try {
    if (callbacks_ != nullptr) callbacks_->onThreadStart(*worker_);
    if (onWorker_) onWorker_(worker_.get());
  } catch (...) {
    logHandlerException("transport start");
  }
}

void TransportCore::endConduits() { endConduits(nullptr); }

void TransportCore::endConduitsOf(ConsumerRecord& record) { endConduits(&record); }

/// One at a time and up to a mark: a consumer that is told may end others, or begin new ones, which are not meant.
void TransportCore::endConduits(ConsumerRecord* record) {
  worker_->requireCurrent();
  unsigned long long last = 0;
  {
    const std::lock_guard lock(mutex_);
    last = conduitsAdded_;
  }
  for (auto conduit = firstConduit(record); conduit != nullptr && conduit->number() <= last;
       conduit = firstConduit(record))
    conduit->end(dirLocal);
}

void TransportCore::endConduitsSoon() noexcept {
  const std::lock_guard lock(mutex_);
  for (const auto& conduit : conduits_) conduit->requestEnd(dirFailed);
}

void TransportCore::refuseNew() {
  const std::lock_guard lock(mutex_);
  closed_ = true;
}

void TransportCore::close() {
  decltype(acceptors_) open;
  {
    const std::lock_guard lock(mutex_);
    closed_ = true;
    open.swap(acceptors_);
  }
  for (const auto& acceptor : open) acceptor->end();
  // The turn that was to begin it may still be to come, when the callbacks are gone.
  begin();
  endConduits();
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

/// Null for a consumer that is being destroyed.
std::shared_ptr<ConsumerRecord> TransportCore::recordFor(Consumer& consumer) {
  for (const BeingDestroyed* beingDestroyed = beingDestroyed_; beingDestroyed != nullptr;
       beingDestroyed = beingDestroyed->next)
    if (beingDestroyed->consumer == &consumer) return nullptr;
  auto record = findRecord(consumer);
  if (record == nullptr) {
    record = std::make_shared<ConsumerRecord>(weak_from_this(), consumer);
    records_.emplace(&consumer, record);
  }
  return record;
}

/// Of one consumer, or of all: the one that was added first.
std::shared_ptr<TcpConduit> TransportCore::firstConduit(ConsumerRecord* record) {
  const std::lock_guard lock(mutex_);
  if (record == nullptr) return conduits_.empty() ? nullptr : conduits_.front();
  return record->conduits().empty() ? nullptr : record->conduits().front()->shared_from_this();
}

}  // namespace tovik
