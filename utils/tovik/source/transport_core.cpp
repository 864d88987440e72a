#include "transport_core.h"

#include <iterator>
#include <utility>

#include "consumer_record.h"
#include "handler_exception.h"
#include "tcp_conduit.h"
#include "tovik/consumer.h"
#include "tovik/socket.h"
#include "tovik/socket_dir.h"
#include "tovik/thread_callbacks.h"
#include "tovik/worker_thread.h"

namespace tovik {

TransportCore::TransportCore(WorkerThread& worker, const Traits& traits, ThreadCallbacks* callbacks, Factory* factory,
                             const OnWorker& onWorker, std::string name)
    : worker_(worker),
      traits_(traits),
      callbacks_(callbacks),
      factory_(factory),
      name_(std::move(name)),
      counters_(&worker.connections()),
      onWorker_(onWorker) {}

TransportCore::~TransportCore() = default;

std::shared_ptr<ConsumerRecord> TransportCore::hold(Consumer& consumer) {
  const std::lock_guard lock(mutex_);
  if (closed_) return nullptr;
  auto record = recordFor(consumer);
  return record != nullptr && record->hold() ? record : nullptr;
}

void TransportCore::letGo(const std::shared_ptr<ConsumerRecord>& record) {
  if (record->letGo()) destroy(record->consumer(), std::unique_lock(mutex_));
}

Result TransportCore::addConduit(Socket socket, bool connected, const std::shared_ptr<ConsumerRecord>& record,
                                 const std::string& name, int limit_ms) {
  const std::lock_guard lock(mutex_);
  if (closed_) return failure("transport " + name_ + " is closed");
  const auto conduit = std::make_shared<TcpConduit>(shared_from_this(), record, std::move(socket), connected, name,
                                                    ++conduitsAdded_, limit_ms);
  conduits_.push_back(conduit);
  if (!record->hold()) {
    conduits_.pop_back();
    return failure("the consumer of " + name + " has been given back");
  }
  conduit->setPlace(std::prev(conduits_.end()));
  worker_.schedule(conduit);
  return Success;
}

void TransportCore::removeConduit(Conduits::iterator place) noexcept {
  Conduits removed;  // let go of outside the lock
  const std::lock_guard lock(mutex_);
  removed.splice(removed.begin(), conduits_, place);
}

bool TransportCore::schedule(std::shared_ptr<EventHandler> handler) {
  const std::lock_guard lock(mutex_);
  if (!closed_) worker_.schedule(std::move(handler));
  return !closed_;
}

void TransportCore::retire(Consumer& consumer) {
  std::unique_lock lock(mutex_);
  const auto record = findRecord(consumer);
  if (record == nullptr || record->retire()) return destroy(consumer, std::move(lock));
  if (!worker_.isCurrent()) return worker_.schedule(record);
  lock.unlock();
  endConduitsOf(*record);
}

/// With the lock, but not around the destructor: that may wait for other threads, and use the transport.
void TransportCore::destroy(Consumer& consumer, std::unique_lock<std::mutex> lock) {
  Leaving self{&consumer, leaving_};
  leaving_ = &self;
  records_.erase(&consumer);
  lock.unlock();
  delete &consumer;
  lock.lock();
  Leaving** link = &leaving_;
  while (*link != &self) link = &(*link)->next;
  *link = self.next;
}

void TransportCore::begin() {
  if (std::exchange(begun_, true)) return;
  try {
    if (callbacks_ != nullptr) callbacks_->onThreadStart(worker_);
    if (onWorker_) onWorker_(&worker_);
  } catch (...) {
    logHandlerException("transport start");
  }
}

void TransportCore::endConduits() { endConduits(nullptr); }

void TransportCore::endConduitsOf(const ConsumerRecord& record) { endConduits(&record); }

/// One at a time and up to a mark: a consumer that is told may end others, or begin new ones, which are not meant.
void TransportCore::endConduits(const ConsumerRecord* record) {
  worker_.requireCurrent();
  unsigned long long last = 0;
  {
    const std::lock_guard lock(mutex_);
    last = conduitsAdded_;
  }
  while (const auto conduit = firstConduit(last, record)) conduit->end(dirLocal);
}

void TransportCore::endConduitsSoon() noexcept {
  const std::lock_guard lock(mutex_);
  for (const auto& conduit : conduits_) conduit->requestEnd(dirFailed);
}

void TransportCore::close() {
  {
    const std::lock_guard lock(mutex_);
    closed_ = true;
  }
  // The turn that was to begin it may still be to come, when the callbacks are gone.
  begin();
  endConduits();
  try {
    if (callbacks_ != nullptr) callbacks_->onThreadStop(worker_);
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
  for (const Leaving* leaving = leaving_; leaving != nullptr; leaving = leaving->next)
    if (leaving->consumer == &consumer) return nullptr;
  auto record = findRecord(consumer);
  if (record == nullptr) {
    record = std::make_shared<ConsumerRecord>(weak_from_this(), consumer);
    records_.emplace(&consumer, record);
  }
  return record;
}

std::shared_ptr<TcpConduit> TransportCore::firstConduit(unsigned long long upTo, const ConsumerRecord* record) {
  const std::lock_guard lock(mutex_);
  for (const auto& conduit : conduits_) {
    if (conduit->number() > upTo) break;
    if (record == nullptr || &conduit->record() == record) return conduit;
  }
  return nullptr;
}

}  // namespace tovik
