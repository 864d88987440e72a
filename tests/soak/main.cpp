// Many transfers on one session, and many sessions, against the little server, in either mode. What the process holds
// at the end must be what it held after the first of them.

#include <tovik/dispatch_store.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <string>

#include "figures.h"
#include "ports.h"
#include "support/program.h"
#include "support/temp_directory.h"
#include "visitor.h"

namespace {

using soak::Figures;
using soak::Visitor;

const std::string dispatcher = "soak";
const std::string fileName = "small";
const std::string fileContent = "a few bytes\r\n";

// By then every table and buffer has found its size.
constexpr long warmUp = 1000;

/// Counts over repetitions of a thing, and compares what is held after the first of them and after the last.
class Comparison {
 public:
  /// The visitor's worker is the one that serves them all: what it does for one has been done once it has answered.
  explicit Comparison(Visitor& visitor) : visitor_(visitor) {}

  /// True when nothing has grown.
  bool run(const std::string& what, long count, const std::function<void(long)>& repeat) {
    std::cout << count << ' ' << what << '\n';
    const long first = std::min(warmUp, count / 2);
    inPortions(first, repeat);
    const Figures before = atRest();
    soak::print(std::cout, "after " + std::to_string(first), before);
    inPortions(count - first, repeat);
    const Figures after = atRest();
    soak::print(std::cout, "after " + std::to_string(count), after);
    const bool same = soak::sameHolding(before, after);
    if (!same) std::cout << "  HAS GROWN\n";
    return same;
  }

 private:
  static void inPortions(long count, const std::function<void(long)>& repeat) {
    constexpr long portion = 1000;
    for (long left = count; left > 0; left -= portion) {
      soak::awaitPorts();
      repeat(std::min(left, portion));
    }
  }

  /// Once two rounds through the worker have changed nothing.
  Figures atRest() {
    constexpr int patience = 10'000;
    Figures last = onWorker();
    for (int i = 0; i < patience; ++i) {
      const Figures now = onWorker();
      const bool rests = now.held == last.held && now.heap.blocks == last.heap.blocks;
      last = now;
      if (rests) break;
    }
    return last;
  }

  Figures onWorker() {
    Figures now{};
    visitor_.askForDirectory([&] { now = Figures::now(); });
    return now;
  }

  Visitor& visitor_;
};

void visitOnce(const tovik::Address& server, bool passive) {
  Visitor visitor(server, dispatcher);
  visitor.logIn();
  visitor.retrieve(fileName, fileContent, 1, passive);
  visitor.logOut();
}

bool soakInMode(const tovik::Address& server, bool passive, long transfers, long sessions) {
  const std::string mode = passive ? "passive mode" : "active mode";
  Visitor visitor(server, dispatcher);
  visitor.logIn();
  Comparison comparison(visitor);
  const bool transfersSame = comparison.run("transfers on one session, " + mode, transfers, [&](long count) {
    visitor.retrieve(fileName, fileContent, count, passive);
  });
  const bool sessionsSame = comparison.run("sessions with a transfer each, " + mode, sessions, [&](long count) {
    for (long i = 0; i < count; ++i) visitOnce(server, passive);
  });
  visitor.logOut();
  return transfersSame && sessionsSame;
}

tovik::Address addressIn(const std::string& line) {
  const auto host = line.rfind(' ') + 1;
  const auto colon = line.rfind(':');
  tovik::Address address(static_cast<unsigned short>(std::stoi(line.substr(colon + 1))));
  if (!address.set_host(line.substr(host, colon - host))) throw std::runtime_error("no address: " + line);
  return address;
}

bool soakAgainst(const std::string& server, long transfers, long sessions) {
  const testing_support::TempDirectory tree;
  tree.write(fileName, fileContent);
  testing_support::Program program({server, tree.path(), "--listen", "127.0.0.1:0"});
  const tovik::Address address = addressIn(program.firstLine());
  soak::printHeading(std::cout);
  const bool passive = soakInMode(address, true, transfers, sessions);
  const bool active = soakInMode(address, false, transfers, sessions);
  program.signal(SIGTERM);
  return program.wait() == 0 && passive && active;
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 4 || std::atol(argv[2]) < 2 || std::atol(argv[3]) < 2)
    return std::cerr << "usage: soak FTP_SERVE TRANSFERS SESSIONS\n", 2;
  soak::leaveTheNetwork();
  if (!tovik::DispatchStore::inst().add(dispatcher, 1)) return 1;
  const bool same = soakAgainst(argv[1], std::atol(argv[2]), std::atol(argv[3]));
  std::cout << (same ? "Nothing has grown.\n" : "Something has grown, or the server did not end well.\n");
  return same ? 0 : 1;
} catch (const std::exception& exception) {
  std::cerr << "soak: " << exception.what() << '\n';
  return 1;
}
