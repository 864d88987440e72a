#pragma once

#include <qk/mutex.h>

#include <iosfwd>
#include <string>
#include <thread>

#include "tovik/result.h"
#include "tovik/visibility.h"

namespace tovik {

/// One thread of the system that runs `run` until told to stop.
///
/// Threads:   start, join and kill by one owner at a time; stop, is_running and print by any thread.
/// Ownership: the most derived class that overrides anything that `run` calls ends the thread in its destructor.
class TOVIK_API Thread {
 public:
  /// The name is for print.
  explicit Thread(std::string name);
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;
  virtual ~Thread();

  /// Fails when the thread is running already or the system gives no thread.
  virtual Result start();
  /// Asks `run` to return; does not wait.
  virtual void stop();
  /// Waits until `run` has returned, at most limit_ms milliseconds (-1: until it has). False when the limit passed,
  /// or on the thread itself, which can't wait for its own end.
  virtual bool join(int limit_ms);
  /// stop and join(-1).
  virtual void kill();
  /// From a successful start until `run` has returned.
  virtual bool is_running() const;
  /// For people: the name, and whether it runs.
  virtual void print(std::ostream& out) const;

  /// The thread's work. It returns soon after stopping has become true, which it reads with isSet.
  virtual void run(const volatile bool& stopping) = 0;

 protected:
  /// How `run` reads its argument: another thread sets it.
  static bool isSet(const volatile bool& flag) { return __atomic_load_n(&flag, __ATOMIC_ACQUIRE); }

 private:
  void main();
  bool awaitEnd(int limit_ms);
  void setRunning(bool running);

  const std::string name_;
  std::thread thread_;
  volatile bool stopping_ = false;

  mutable qk::Mutex mutex_;
  qk::ConditionVariable ended_;
  bool running_ QK_GUARDED_BY(mutex_) = false;
};

/// Calls print.
TOVIK_API std::ostream& operator<<(std::ostream& out, const Thread& thread);

}  // namespace tovik
