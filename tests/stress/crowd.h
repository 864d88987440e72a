#pragma once

#include <tovik/address.h>
#include <tovik/ftp_bridge/ftp_bridge.h>

#include <array>
#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

#include "support/waiting.h"

namespace stress {

class Visitor;

/// Sessions by number, which host threads and callbacks start, stop, destroy and replace as chance has it.
///
/// A callback that ends a session of another worker waits for that worker. Two callbacks that each destroy the other's
/// session would wait for each other, and what they use would be destroyed while they do: no library can help that. So
/// a callback ends no session but its own and those of higher numbers, and the numbers go up with the workers. Host
/// threads, which nobody waits for, end any.
///
/// Threads:   any.
/// Ownership: whoever uses a session shares it meanwhile; the last one destroys it. The clients outlive all sessions.
class Crowd {
 public:
  static constexpr unsigned workers = 4;
  static constexpr unsigned size = 48;

  explicit Crowd(const tovik::Address& server);
  Crowd(const Crowd&) = delete;
  Crowd& operator=(const Crowd&) = delete;
  ~Crowd();

  /// What a host thread does next.
  void actAsHost();
  /// What the callback of a session does next, which is of that number. It may destroy the session.
  void actInCallback(unsigned number, const tovik::ftp::Controller* session);
  /// Makes one begin to connect, and counts that.
  void start(tovik::ftp::Controller& session);
  /// Gives it a command of any kind.
  static void command(tovik::ftp::Controller& session);
  /// Destroys all sessions, and ends their workers. False when one of either is left at the deadline. Once, when no
  /// host thread acts any more.
  [[nodiscard]] bool end();

  struct Counts {
    std::atomic<long> sessions{0};
    std::atomic<long> starts{0};
    std::atomic<long> ends{0};
    std::atomic<long> files{0};
  };
  Counts& counts() { return counts_; }

 private:
  using Session = std::shared_ptr<tovik::ftp::Controller>;

  Session share(unsigned number);
  Session exchange(unsigned number, Session session);
  Session make(unsigned number);

  const tovik::Address server_;
  Counts counts_;
  testing_support::Awaited<long> alive_;  // sessions

  std::mutex mutex_;  // guards the members below
  std::deque<Visitor> visitors_;
  std::array<Session, size> sessions_;
};

/// A number below the limit, from a sequence of this thread's own that begins with the seed.
unsigned chance(unsigned limit);
/// Before the first chance.
void seedChance(unsigned seed);

}  // namespace stress
