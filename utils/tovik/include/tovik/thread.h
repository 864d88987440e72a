#pragma once

#include <qk/mutex.h>

#include <iosfwd>
#include <string>
#include <thread>

#include "tovik/result.h"
#include "tovik/visibility.h"

namespace tovik {

/// A system thread that runs `run` until it is asked to stop.
///
/// Threads:   start, join and kill by one owner at a time; stop, is_running and print by any thread.
/// Ownership: a derived class that overrides a function which `run` calls must end the thread in its own destructor.
class TOVIK_API Thread {
 public:
  /// The name is for logs and print.
  explicit Thread(std::string name);
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;
  virtual ~Thread();

  /// Fails if the thread is already running or the system can't start a thread.
  virtual Result start();
  /// Asks `run` to return. Does not wait.
  virtual void stop();
  /// Waits until `run` has returned, for at most limit_ms milliseconds (-1: without limit). False if the limit has
  /// passed, and on the thread itself, which can't wait for its own end.
  virtual bool join(int limit_ms);
  /// Calls stop and join(-1).
  virtual void kill();
  /// True from a successful start until `run` has returned.
  virtual bool is_running() const;
  /// Prints the name and whether the thread is running.
  virtual void print(std::ostream& out) const;

  /// The thread's work. Must return soon after stopping has become true; read it with isSet.
  virtual void run(const volatile bool& stopping) = 0;

 protected:
  /// Reads the argument of `run`, which another thread sets.
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
