// Ends itself by exit(7), in the way that its argument names: with sessions alive, and the framework's workers at work.

#include <qk/logging/logging.h>
#include <tovik/dispatch_store.h>
#include <tovik/ftp_bridge/ftp_bridge.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "stress/busy_server.h"
#include "support/waiting.h"

namespace {

using tovik::DispatchStore;
using tovik::ftp::Controller;

constexpr int exitCode = 7;
const char* const dispatcher = "exits";

/// Does something inside of onConnected, and of onPwd.
class Visitor final : public tovik::ftp::FileRetriever {
 public:
  Visitor() : FileRetriever(true) {}

  void onConnected() override {
    connected.change([](bool& is) { is = true; });
    if (whenConnected) whenConnected();
  }
  void onPwd(const std::string& /*directory*/) override { whenInDirectory(); }
  void onNlst(const std::vector<std::string>& /*names*/, const std::string& /*text*/) override {}
  void onRetrieve(const std::string& /*name*/, const std::string& /*text*/, std::string* content) override {
    delete content;
    files.change([](int& count) { ++count; });
    retrieveAnother();
  }
  void retrieveAnother() { static_cast<void>(controller->getFile("f", passive = !passive)); }

  // Set before the session is started.
  std::function<void()> whenConnected;
  std::function<void()> whenInDirectory;
  testing_support::Awaited<bool> connected;
  testing_support::Awaited<int> files;
};

/// Never destroyed: the callbacks may come at any moment of the exit.
Visitor& newVisitor() {
  static auto* const never = new std::vector<std::unique_ptr<Visitor>>;
  return *never->emplace_back(std::make_unique<Visitor>());
}

[[noreturn]] void give(const char* what) {
  std::cerr << what << '\n';
  ::_exit(3);
}

const stress::BusyServer& server() {
  static const auto* const never = new stress::BusyServer(stress::BusyServer::Manners::good, 0);
  return *never;
}

std::unique_ptr<Controller> sessionOf(Visitor& visitor) {
  tovik::Address local(0);
  if (!local.set_host("127.0.0.1")) give("no local address");
  const tovik::ftp::connection_data_t connection{server().address(), local, "me", "secret", ""};
  auto session = std::make_unique<Controller>(connection, &visitor, dispatcher, 0, nullptr);
  visitor.setController(session.get());
  return session;
}

void startDispatcher(unsigned workers) {
  if (!DispatchStore::inst().add(dispatcher, workers)) give("no dispatcher");
}

void logIn(Controller& session, Visitor& visitor) {
  if (!session.start()) give("not started");
  if (!visitor.connected.waitUntil([](bool is) { return is; })) give("not connected");
}

/// Sessions that a host keeps for as long as it lives, and longer than anything that main makes.
struct Kept {
  Kept() = default;
  Kept(const Kept&) = delete;
  Kept& operator=(const Kept&) = delete;
  ~Kept() {
    if (sessions.empty()) return;
    sessions.clear();
    if (!DispatchStore::inst().remove(dispatcher)) give("the store had gone");
  }

  std::vector<std::unique_ptr<Controller>> sessions;
};
Kept keptBeforeTheStore;

void keep(Kept& place) {
  Visitor& visitor = newVisitor();
  place.sessions.push_back(sessionOf(visitor));
  logIn(*place.sessions.back(), visitor);
}

void withASessionThatIsOlderThanTheStore() {
  startDispatcher(2);
  keep(keptBeforeTheStore);
  std::exit(exitCode);
}

void withASessionThatIsYoungerThanTheStore() {
  startDispatcher(2);
  static Kept kept;
  keep(kept);
  std::exit(exitCode);
}

/// Two sessions on two workers that are never destroyed; the first is on the worker that was made first.
struct Pair {
  Visitor& firstVisitor = newVisitor();
  Visitor& secondVisitor = newVisitor();
  std::unique_ptr<Controller> first = sessionOf(firstVisitor);
  std::unique_ptr<Controller> second = sessionOf(secondVisitor);
};
Pair& pair() {
  static auto* const never = new Pair;
  return *never;
}

/// Waits until a host thread, or somebody else, ends the process.
[[noreturn]] void waitForTheEnd() {
  for (;;) ::pause();
}

using Flag = testing_support::Awaited<bool>;
Flag& newFlag() {
  static auto* const never = new std::vector<std::unique_ptr<Flag>>;
  return *never->emplace_back(std::make_unique<Flag>());
}
Flag& exiting() {
  static Flag& flag = newFlag();
  return flag;
}
void raise(Flag& flag) {
  flag.change([](bool& is) { is = true; });
}
void await(const Flag& flag) {
  if (!flag.waitUntil([](bool is) { return is; })) give("not in time");
}

void whileACallbackStopsAnotherWorkersSession() {
  startDispatcher(2);
  static Flag& inside = newFlag();
  logIn(*pair().first, pair().firstVisitor);
  pair().secondVisitor.whenConnected = [] {
    raise(inside);
    await(exiting());
    for (int i = 0; i < 10'000; ++i) static_cast<void>(pair().first->stop());
  };
  logIn(*pair().second, pair().secondVisitor);
  await(inside);
  std::atexit([] { raise(exiting()); });
  std::exit(exitCode);
}

std::unique_ptr<Controller> olderThanTheStore;

void insideACallback() {
  startDispatcher(2);
  Visitor& visitor = newVisitor();
  visitor.whenConnected = [] { std::exit(exitCode); };
  olderThanTheStore = sessionOf(visitor);
  if (!olderThanTheStore->start()) give("not started");
  waitForTheEnd();
}

void insideACallbackThatAnotherWorkerWaitsFor() {
  startDispatcher(2);
  static Flag& firstInside = newFlag();
  static Flag& inside = newFlag();
  pair().firstVisitor.whenInDirectory = [] {
    raise(firstInside);
    await(inside);
    std::exit(exitCode);
  };
  logIn(*pair().first, pair().firstVisitor);
  pair().secondVisitor.whenConnected = [] {
    raise(inside);
    static_cast<void>(pair().first->stop());
  };
  if (!pair().first->getPwd()) give("no directory");
  await(firstInside);
  if (!pair().second->start()) give("not started");
  waitForTheEnd();
}

void insideACallbackThatAHostThreadWaitsFor() {
  startDispatcher(2);
  static Flag& inside = newFlag();
  pair().firstVisitor.whenConnected = [] {
    raise(inside);
    std::exit(exitCode);
  };
  if (!pair().first->start()) give("not started");
  await(inside);
  static_cast<void>(pair().first->stop());
  waitForTheEnd();
}

void whileACallbackDoesNotReturn() {
  startDispatcher(2);
  pair().firstVisitor.whenConnected = waitForTheEnd;
  logIn(*pair().first, pair().firstVisitor);
  std::exit(exitCode);
}

void duringTransfersOf(std::vector<std::unique_ptr<Controller>>& sessions) {
  static std::atomic<unsigned long long> records{0};
  static_cast<void>(qk::logging::AddHandler([](const qk::logging::Record& /*record*/) { ++records; }));
  qk::logging::SetMinLogLevel(qk::logging::LogLevel::Trace);
  startDispatcher(4);
  std::vector<Visitor*> visitors;
  for (int i = 0; i < 8; ++i) {
    Visitor& visitor = newVisitor();
    visitors.push_back(&visitor);
    visitor.whenConnected = [&visitor] { visitor.retrieveAnother(); };
    sessions.push_back(sessionOf(visitor));
    logIn(*sessions.back(), visitor);
  }
  for (const Visitor* const visitor : visitors)
    if (!visitor->files.waitUntil([](int count) { return count >= 5; })) give("no files");
  std::exit(exitCode);
}

void duringTransfersOfSessionsThatAreDestroyed() { duringTransfersOf(keptBeforeTheStore.sessions); }

void duringTransfersOfSessionsThatAreNot() {
  static auto* const never = new std::vector<std::unique_ptr<Controller>>;
  duringTransfersOf(*never);
}

const std::map<std::string, void (*)()>& ways() {
  static const std::map<std::string, void (*)()> all{
      {"WithASessionThatIsOlderThanTheStore", withASessionThatIsOlderThanTheStore},
      {"WithASessionThatIsYoungerThanTheStore", withASessionThatIsYoungerThanTheStore},
      {"WhileACallbackStopsAnotherWorkersSession", whileACallbackStopsAnotherWorkersSession},
      {"InsideACallback", insideACallback},
      {"InsideACallbackThatAnotherWorkerWaitsFor", insideACallbackThatAnotherWorkerWaitsFor},
      {"InsideACallbackThatAHostThreadWaitsFor", insideACallbackThatAHostThreadWaitsFor},
      {"WhileACallbackDoesNotReturn", whileACallbackDoesNotReturn},
      {"DuringTransfersOfSessionsThatAreDestroyed", duringTransfersOfSessionsThatAreDestroyed},
      {"DuringTransfersOfSessionsThatAreNot", duringTransfersOfSessionsThatAreNot},
  };
  return all;
}

}  // namespace

int main(int argc, char** argv) {
  const auto way = argc == 2 ? ways().find(argv[1]) : ways().end();
  if (way == ways().end()) return std::cerr << "usage: exits WAY\n", 2;
  qk::logging::SetMinLogLevel(1000);
  way->second();
  return 3;
}
