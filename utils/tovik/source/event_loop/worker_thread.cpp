#include "tovik/worker_thread.h"

#include <pthread.h>
#include <qk/logging/logging.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "values/handler_exception.h"
#include "values/system.h"
#include "values/system_error.h"

namespace tovik {

namespace {

constexpr unsigned long receiveBufferBytes = 256UL << 10U;
constexpr int eventsPerTurn = 64;
constexpr unsigned input = EPOLLIN | EPOLLPRI | EPOLLRDHUP | EPOLLET;

/// Wraps a function as a handler.
class PostedTask final : public EventHandler {
 public:
  explicit PostedTask(std::function<void()> task) : task_(std::move(task)) {}
  void onReady(unsigned /*events*/) override { task_(); }

 private:
  const std::function<void()> task_;
};

}  // namespace

WorkerThread::WorkerThread(const std::string& name, Clock& clock)
    : Thread(name), clock_(clock), calls_(name, [this] { wake(); }) {}

WorkerThread::~WorkerThread() {
  WorkerThread::kill();
  dropScheduled();
}

Result WorkerThread::start() {
  // A running loop uses the descriptors that would be replaced here.
  if (is_running()) return Thread::start();
  epoll_ = Descriptor(sys::epoll_create());
  if (!epoll_.isOpen()) return systemFailure("epoll_create");
  wakeUp_ = Descriptor(sys::eventfd());
  if (!wakeUp_.isOpen()) return systemFailure("eventfd");
  // Edge-triggered: each wake-up is a new edge, so the counter need not be read.
  if (sys::epoll_add(epoll_.number(), wakeUp_.number(), EPOLLIN | EPOLLET, nullptr) != 0)
    return systemFailure("epoll_add");
  {
    const qk::MutexLock lock(mutex_);
    takesTurns_ = true;
  }
  calls_.open();
  Result started = Thread::start();
  if (!started) calls_.close();
  return started;
}

void WorkerThread::stop() {
  Thread::stop();
  wake();
}

bool WorkerThread::join(int limit_ms) { return calls_.awaitEnd(limit_ms) && Thread::join(-1); }

void WorkerThread::requireCurrent() const {
#ifndef NDEBUG
  if (isCurrent()) return;
  std::fprintf(stderr, "called on thread %lx, which is not the worker thread of what was called (%p)\n", pthread_self(),
               static_cast<const void*>(this));
  std::abort();
#endif
}

void WorkerThread::schedule(std::shared_ptr<EventHandler> handler) noexcept {
  if (handler->scheduled_.exchange(true, std::memory_order_acq_rel)) return;
  bool wasEmpty = false;
  {
    const qk::MutexLock lock(mutex_);
    if (!takesTurns_) return;
    wasEmpty = scheduled_.last == nullptr;
    EventHandler* const last = handler.get();
    (wasEmpty ? scheduled_.first : scheduled_.last->next_) = std::move(handler);
    scheduled_.last = last;
  }
  if (wasEmpty && !isCurrent()) wake();
}

void WorkerThread::post(std::function<void()> task) { schedule(std::make_shared<PostedTask>(std::move(task))); }

Result WorkerThread::watch(int descriptor, EventHandler& handler) {
  requireCurrent();
  return sys::epoll_add(epoll_.number(), descriptor, input | EPOLLOUT, &handler) == 0 ? Success
                                                                                      : systemFailure("epoll_add");
}

Result WorkerThread::watchInput(int descriptor, EventHandler& handler) {
  requireCurrent();
  return sys::epoll_add(epoll_.number(), descriptor, input, &handler) == 0 ? Success : systemFailure("epoll_add");
}

Result WorkerThread::watchOutput(int descriptor, EventHandler& handler) {
  requireCurrent();
  return sys::epoll_modify(epoll_.number(), descriptor, input | EPOLLOUT, &handler) == 0
             ? Success
             : systemFailure("epoll_modify");
}

Result WorkerThread::watchArrivals(int descriptor, EventHandler& handler) {
  return sys::epoll_add(epoll_.number(), descriptor, EPOLLIN, &handler) == 0 ? Success : systemFailure("epoll_add");
}

/// Closing alone is not enough if the host forks: events continue to arrive here while the child holds a copy of the
/// descriptor.
void WorkerThread::unwatch(int descriptor) { sys::epoll_remove(epoll_.number(), descriptor); }

void WorkerThread::retainUntilTurnEnd(std::shared_ptr<EventHandler> handler) noexcept {
  requireCurrent();
  handler->retained_ = std::move(retained_);
  retained_ = std::move(handler);
}

Buffer WorkerThread::receiveBuffer() {
  receiveStorage_.resize(receiveBufferBytes);
  return {receiveStorage_.data(), receiveStorage_.size()};
}

WorkerStatistics WorkerThread::statistics() const {
  return {connections_.read(), wakeUps_.load(std::memory_order_relaxed),
          longestHandler_.load(std::memory_order_relaxed)};
}

void WorkerThread::run(const volatile bool& stopping) {
  calls_.begin();
  while (!isSet(stopping)) turn();
  calls_.end();
  dropScheduled();
}

void WorkerThread::turn() {
  // 1. Wait until a descriptor is ready, a turn is requested, or the next timer is due.
  std::array<epoll_event, eventsPerTurn> events;
  const int count = sys::epoll_wait(epoll_.number(), events.data(), eventsPerTurn, waitLimit());
  noteWakeUp();
  // 2. Notify the handlers of the ready descriptors.
  for (int i = 0; i < count; ++i) {
    const auto& event = events[static_cast<unsigned>(i)];
    if (event.data.ptr == nullptr) continue;
    guarded([&event] { static_cast<EventHandler*>(event.data.ptr)->onReady(event.events); });
  }
  // 3. Run the calls that other threads wait for, then the handlers that requested a turn.
  runCalls();
  runScheduled();
  // 4. Run the timers that are due.
  const auto deadline = timers_.next();
  if (deadline && *deadline <= handlerStart_) guarded([this] { timers_.fire(handlerStart_); });
  // 5. Release the handlers that ended in this turn: no event can reach them any more.
  releaseChain(std::move(retained_), &EventHandler::retained_);
}

int WorkerThread::waitLimit() {
  if (!calls_.isEmpty()) return 0;
  {
    const qk::MutexLock lock(mutex_);
    if (scheduled_.last != nullptr) return 0;
  }
  const auto deadline = timers_.next();
  return deadline ? clock_.millisecondsUntil(*deadline) : -1;
}

/// Only calls that are waiting now: threads that call without a pause must not keep the handlers waiting.
void WorkerThread::runCalls() {
  if (calls_.isEmpty()) return;
  const unsigned long long newest = calls_.newest();
  while (calls_.runOldest(newest)) noteHandlerEnd();
}

/// Only turns that were requested before: a handler that requests another turn must not keep the others waiting.
void WorkerThread::runScheduled() {
  Chain chain;
  {
    const qk::MutexLock lock(mutex_);
    std::swap(chain, scheduled_);
  }
  while (chain.first != nullptr) {
    const std::shared_ptr<EventHandler> handler = std::move(chain.first);
    chain.first = std::move(handler->next_);
    handler->scheduled_.exchange(false, std::memory_order_acq_rel);
    guarded([&handler] { handler->onReady(0); });
  }
}

/// Breaks a cycle of ownership: handlers that were scheduled too late own their transports, which own this worker.
void WorkerThread::dropScheduled() {
  Chain chain;
  {
    const qk::MutexLock lock(mutex_);
    takesTurns_ = false;
    std::swap(chain, scheduled_);
  }
  releaseChain(std::move(chain.first), &EventHandler::next_);
}

/// One by one: the destructor of a chain of shared pointers uses a stack frame for each link.
void WorkerThread::releaseChain(std::shared_ptr<EventHandler> first,
                                std::shared_ptr<EventHandler> EventHandler::*next) {
  while (first != nullptr) first = std::move(first.get()->*next);
}

void WorkerThread::wake() { sys::signal_eventfd(wakeUp_.number()); }

template <class Task>
void WorkerThread::guarded(Task&& task) noexcept {
  try {
    task();
  } catch (...) {
    logHandlerException("worker thread");
  }
  noteHandlerEnd();
}

void WorkerThread::noteWakeUp() {
  wakeUps_.store(wakeUps_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  handlerStart_ = now();
}

/// One handler's end is the next one's start, so the clock is read once for each handler.
void WorkerThread::noteHandlerEnd() {
  const Clock::Time end = now();
  const std::chrono::nanoseconds took = end - std::exchange(handlerStart_, end);
  if (took > longestHandler_.load(std::memory_order_relaxed)) longestHandler_.store(took, std::memory_order_relaxed);
}

}  // namespace tovik
