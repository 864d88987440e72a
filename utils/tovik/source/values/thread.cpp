#include "tovik/thread.h"

#include <chrono>
#include <new>
#include <ostream>
#include <system_error>
#include <utility>

#include "values/system_error.h"

namespace tovik {

namespace {

thread_local const Thread* current = nullptr;

}  // namespace

Thread::Thread(std::string name) : name_(std::move(name)) {}

Thread::~Thread() {
  // Still joinable only if the thread is destroyed by its own handler.
  if (thread_.joinable()) thread_.detach();
}

Result Thread::start() {
  if (is_running()) return failure("thread " + name_ + " is already running");
  if (thread_.joinable()) thread_.join();
  __atomic_store_n(&stopping_, false, __ATOMIC_RELEASE);
  setRunning(true);
  try {
    thread_ = std::thread(&Thread::main, this);
  } catch (const std::system_error& error) {
    setRunning(false);
    return failure(describeError("thread " + name_, error.code().value()));
  } catch (const std::bad_alloc&) {
    setRunning(false);
    return failure("out of memory");
  }
  return Success;
}

void Thread::stop() { __atomic_store_n(&stopping_, true, __ATOMIC_RELEASE); }

bool Thread::join(int limit_ms) {
  if (current == this) return false;
  if (!thread_.joinable()) return true;
  if (limit_ms >= 0 && !awaitEnd(limit_ms)) return false;
  thread_.join();
  return true;
}

void Thread::kill() {
  stop();
  join(-1);
}

bool Thread::is_running() const {
  const qk::MutexLock lock(mutex_);
  return running_;
}

void Thread::print(std::ostream& out) const {
  out << "thread " << name_ << (is_running() ? ", running" : ", not running");
}

void Thread::main() {
  current = this;
  run(stopping_);
  setRunning(false);
}

/// False if the limit has passed.
bool Thread::awaitEnd(int limit_ms) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(limit_ms);
  const qk::MutexLock lock(mutex_);
  while (running_ && ended_.wait_until(mutex_, limit)) {
  }
  return !running_;
}

void Thread::setRunning(bool running) {
  const qk::MutexLock lock(mutex_);
  running_ = running;
  ended_.notify_all();
}

std::ostream& operator<<(std::ostream& out, const Thread& thread) {
  thread.print(out);
  return out;
}

}  // namespace tovik
