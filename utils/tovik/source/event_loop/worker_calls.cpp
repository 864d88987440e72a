#include "tovik/worker_calls.h"

#include <qk/logging/logging.h>

#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <sstream>
#include <thread>
#include <utility>

#include "values/handler_exception.h"

namespace tovik {

namespace {

#ifndef NDEBUG
constexpr std::chrono::seconds slowWait{5};
#endif

}  // namespace

/// Its destructor does nothing, so it can be used while the program exits.
constinit qk::Mutex WorkerCalls::mutex_;

/// A thread's wait for a worker, on that thread's stack. It has a condition variable of its own, so a notification
/// wakes no other thread.
struct WorkerCalls::Wait {
  explicit Wait(const WorkerCalls& awaited)
      : waiter(current_), target(awaited), outer(waiter == nullptr ? nullptr : waiter->wait_) {}

  WorkerCalls* const waiter;  // null if the thread is not a worker
  const WorkerCalls& target;
  Wait* const outer;  // the waiter's enclosing wait
  bool done QK_GUARDED_BY(mutex_) = false;
  qk::ConditionVariable changed;
};

/// A function to run, on the stack of the thread that waits for it or in a DetachedCall.
struct WorkerCalls::Call {
  const std::function<void()>& f;
  const bool nests;                  // may run inside a handler
  Wait* wait QK_GUARDED_BY(mutex_);  // null once nobody waits
  std::shared_ptr<DetachedCall> self QK_GUARDED_BY(mutex_) = nullptr;
  std::exception_ptr failure QK_GUARDED_BY(mutex_) = nullptr;
  unsigned long long number QK_GUARDED_BY(mutex_) = 0;
  Call* next QK_GUARDED_BY(mutex_) = nullptr;
};

/// A call that may outlive the wait for it.
struct WorkerCalls::DetachedCall {
  DetachedCall(std::function<void()> function, bool nests, Wait* wait) : f(std::move(function)), call{f, nests, wait} {}

  const std::function<void()> f;
  Call call;
};

WorkerCalls::WorkerCalls(std::string name, std::function<void()> wake)
    : name_(std::move(name)), wake_(std::move(wake)) {}

WorkerCalls::~WorkerCalls() {
  const qk::MutexLock lock(mutex_);
  while (first_ != nullptr) {
    const auto self = std::move(first_->self);
    take(&first_);
  }
}

void WorkerCalls::call(const std::function<void()>& f) { request(f, true, -1); }

bool WorkerCalls::callWithin(const std::function<void()>& f, int limit_ms) { return request(f, true, limit_ms); }

bool WorkerCalls::pass(int limit_ms) {
  return request([] {}, false, limit_ms);
}

bool WorkerCalls::request(const std::function<void()>& f, bool nests, int limit_ms) {
  if (isCurrent()) {
    f();
    return true;
  }
  Wait wait(*this);
  Call attached{f, nests, &wait};
  const auto detached = limit_ms < 0 ? nullptr : std::make_shared<DetachedCall>(f, nests, &wait);
  Call& call = detached == nullptr ? attached : detached->call;
  qk::MutexLock lock(mutex_);
  if (state_ == State::ended) {
    lock.unlock();
    f();
    return true;
  }
  call.self = detached;
  add(call);
  if (!await(wait, limit_ms)) {
    call.wait = nullptr;
    return false;
  }
  if (call.failure) std::rethrow_exception(call.failure);
  return true;
}

bool WorkerCalls::awaitEnd(int limit_ms) {
  const qk::MutexLock lock(mutex_);
  if (state_ != State::running) return true;
  if (isCurrent()) return false;
  // A worker that waits for this thread can end only if this thread runs the call that it waits for.
  const Wait* const forCaller = current_ == nullptr ? nullptr : waitFor(*this, *current_);
  if (forCaller != nullptr && !current_->hasNestable(*forCaller)) return false;
  Wait wait(*this);
  joiner_ = &wait;
  const bool ended = await(wait, limit_ms);
  joiner_ = nullptr;
  return ended;
}

void WorkerCalls::open() {
  const qk::MutexLock lock(mutex_);
  state_ = State::running;
}

void WorkerCalls::close() {
  const qk::MutexLock lock(mutex_);
  state_ = State::idle;
}

unsigned long long WorkerCalls::newest() const {
  const qk::MutexLock lock(mutex_);
  return added_;
}

bool WorkerCalls::runOldest(unsigned long long highestNumber) {
  qk::MutexLock lock(mutex_);
  Call* const call = takeOldest(highestNumber);
  lock.unlock();
  if (call != nullptr) run(*call);
  return call != nullptr;
}

void WorkerCalls::end() {
  qk::MutexLock lock(mutex_);
  while (Call* const call = takeOldest(added_)) {
    lock.unlock();
    run(*call);
    lock.lock();
  }
  state_ = State::ended;
  current_ = nullptr;
  if (joiner_ == nullptr) return;
  joiner_->done = true;
  joiner_->changed.notify_one();
}

/// Waits until wait.done or the limit. Meanwhile a worker runs the calls that may nest.
bool WorkerCalls::await(Wait& wait, int limit_ms) {
  using std::chrono::steady_clock;
  WorkerCalls* const self = wait.waiter;
  std::optional<steady_clock::time_point> limit;
  if (limit_ms >= 0) limit = steady_clock::now() + std::chrono::milliseconds(limit_ms);
#ifndef NDEBUG
  std::optional<steady_clock::time_point> slow = steady_clock::now() + slowWait;
#endif
  if (self != nullptr) self->beginWait(wait);
  while (!wait.done) {
    Call* const nested = self == nullptr ? nullptr : self->takeNestable();
    if (nested != nullptr) {
      mutex_.unlock();
      run(*nested);
      mutex_.lock();
    } else if (limit) {
      if (!wait.changed.wait_until(mutex_, *limit)) break;
#ifndef NDEBUG
    } else if (slow) {
      if (wait.changed.wait_until(mutex_, *slow)) continue;
      slow.reset();
      mutex_.unlock();
      logSlowWait(wait);
      mutex_.lock();
#endif
    } else {
      wait.changed.wait(mutex_);
    }
  }
  if (self != nullptr) self->wait_ = wait.outer;
  return wait.done;
}

void WorkerCalls::add(Call& call) {
  call.number = ++added_;
  Call** last = &first_;
  while (*last != nullptr) last = &(*last)->next;
  *last = &call;
  // With the mutex held: afterwards the call may have run, and the worker may have been destroyed.
  if (waiting_.fetch_add(1, std::memory_order_acq_rel) == 0) wake_();
}

WorkerCalls::Call* WorkerCalls::takeOldest(unsigned long long highestNumber) {
  return first_ == nullptr || first_->number > highestNumber ? nullptr : take(&first_);
}

/// Takes a call made by a worker that this one waits for.
WorkerCalls::Call* WorkerCalls::takeNestable() {
  for (Call** link = &first_; *link != nullptr; link = &(*link)->next) {
    const Wait* const wait = (*link)->wait;
    if (!(*link)->nests || wait == nullptr || wait->waiter == nullptr) continue;
    if (waitFor(*this, *wait->waiter) != nullptr) return take(link);
  }
  return nullptr;
}

WorkerCalls::Call* WorkerCalls::take(Call** link) {
  waiting_.fetch_sub(1, std::memory_order_acq_rel);
  return std::exchange(*link, (*link)->next);
}

bool WorkerCalls::hasNestable(const Wait& wait) const {
  const Call* call = first_;
  while (call != nullptr && call->wait != &wait) call = call->next;
  return call != nullptr && call->nests;
}

/// If the wait closes a ring of waiting workers, wakes them all, so that each can run the call of the one before it.
void WorkerCalls::beginWait(Wait& wait) {
  wait_ = &wait;
  if (waitFor(wait.target, *this) == nullptr) return;
  for (const WorkerCalls* each = &wait.target; each != this; each = targetOf(*each)) each->wait_->changed.notify_one();
}

void WorkerCalls::run(Call& call) noexcept {
  std::exception_ptr failure;
  try {
    call.f();
  } catch (...) {
    failure = std::current_exception();
  }
  std::shared_ptr<DetachedCall> self;
  {
    const qk::MutexLock lock(mutex_);
    self = std::move(call.self);
    if (call.wait != nullptr) {
      // With the mutex held: afterwards the waiting thread may destroy the call.
      call.failure = std::move(failure);
      call.wait->done = true;
      call.wait->changed.notify_one();
      return;
    }
  }
  try {
    if (failure) std::rethrow_exception(failure);
  } catch (...) {
    logHandlerException("call");
  }
}

/// If worker `from` waits for worker `to`, directly or through others, returns the last wait on that path, otherwise
/// null. `slow` follows at half the speed to detect a ring that `to` is not part of.
const WorkerCalls::Wait* WorkerCalls::waitFor(const WorkerCalls& from, const WorkerCalls& to) {
  const WorkerCalls* slow = &from;
  bool slowMoves = false;
  for (const WorkerCalls* each = &from; each != nullptr; each = targetOf(*each)) {
    if (targetOf(*each) == &to) return each->wait_;
    if (slowMoves) slow = targetOf(*slow);
    slowMoves = !slowMoves;
    if (each == slow && each != &from) return nullptr;
  }
  return nullptr;
}

/// The worker that this one waits for, or null.
const WorkerCalls* WorkerCalls::targetOf(const WorkerCalls& worker) {
  return worker.wait_ == nullptr ? nullptr : &worker.wait_->target;
}

#ifndef NDEBUG
void WorkerCalls::logSlowWait(const Wait& wait) noexcept {
  try {
    std::ostringstream waiter;
    if (wait.waiter == nullptr)
      waiter << "thread " << std::this_thread::get_id();
    else
      waiter << "worker " << wait.waiter->name_;
    QK_LOG(qk::logging::LogLevel::Warning) << "Tovik: " << waiter.str() << " has waited for worker "
                                           << wait.target.name_ << " for " << slowWait.count() << " seconds";
  } catch (...) {
    logHandlerException("call");
  }
}
#endif

}  // namespace tovik
