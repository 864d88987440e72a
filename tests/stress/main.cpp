// Sessions on several workers with a server that misbehaves, and host threads and callbacks that start, command, stop,
// destroy and replace them as chance has it. In the end every session that was started has reported its end, and
// nothing is left behind.

#include <qk/logging/logging.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "busy_server.h"
#include "crowd.h"
#include "soak/ports.h"
#include "support/leftovers.h"
#include "support/watchdog.h"

namespace {

constexpr int hostThreads = 3;

/// Logs now and then, and now and then throws. What it logs itself goes to the other handler.
void takeRecord(const qk::logging::Record& /*record*/) {
  static std::atomic<unsigned> records{0};
  const unsigned number = ++records;
  if (number % 64 == 0) QK_LOG(qk::logging::LogLevel::Trace) << "Stress: record " << number;
  if (number % 100'000 == 0) throw std::runtime_error("the log handler's own");
}

void haveHostsAct(stress::Crowd& crowd, std::chrono::seconds duration) {
  const auto end = std::chrono::steady_clock::now() + duration;
  std::vector<std::thread> hosts;
  for (int i = 0; i < hostThreads; ++i)
    hosts.emplace_back([&] {
      while (std::chrono::steady_clock::now() < end) {
        crowd.actAsHost();
        std::this_thread::yield();
      }
    });
  for (auto& host : hosts) host.join();
}

/// True when every session has reported its end, and has been destroyed.
bool run(unsigned seed, std::chrono::seconds duration) {
  stress::BusyServer server(stress::BusyServer::Manners::bad, seed);
  stress::Crowd crowd(server.address());
  const auto handler = qk::logging::AddHandler(takeRecord);
  const auto silence = qk::logging::AddHandler([](const qk::logging::Record& /*record*/) {});
  haveHostsAct(crowd, duration);
  const bool ended = crowd.end();
  qk::logging::RemoveHandler(handler);
  qk::logging::RemoveHandler(silence);
  const stress::Crowd::Counts& counts = crowd.counts();
  std::cout << counts.sessions << " sessions, " << counts.starts << " starts, " << counts.ends << " ends, "
            << counts.files << " files\n";
  return ended && counts.starts == counts.ends && counts.files > 0;
}

}  // namespace

int main(int argc, char** argv) try {
  const int seconds = argc > 1 ? std::atoi(argv[1]) : 0;
  if (seconds < 1 || argc > 3) return std::cerr << "usage: stress SECONDS [SEED]\n", 2;
  const unsigned seed = argc > 2 ? static_cast<unsigned>(std::atol(argv[2])) : std::random_device()();
  std::cout << "seed " << seed << std::endl;
  soak::leaveTheNetwork();
  stress::seedChance(seed);
  qk::logging::SetMinLogLevel(qk::logging::LogLevel::Trace);
  const testing_support::Watchdog watchdog(std::chrono::seconds(seconds) + 2 * testing_support::deadline);
  const testing_support::Held before = testing_support::heldAtRest();
  const bool allEnded = run(seed, std::chrono::seconds(seconds));
  if (!allEnded) std::cout << "Not every start has had its end, or a session is left, or no file came.\n";
  const bool nothingLeft = testing_support::heldInTheEnd(before) == before;
  if (!nothingLeft) std::cout << "Descriptors or threads are left.\n";
  return allEnded && nothingLeft ? 0 : 1;
} catch (const std::exception& exception) {
  std::cerr << "stress: " << exception.what() << '\n';
  return 1;
}
