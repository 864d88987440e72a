#include "crowd.h"

#include <tovik/dispatch_store.h>

#include <random>
#include <stdexcept>
#include <utility>

#include "support/null_client.h"

namespace stress {

namespace {

using tovik::ftp::Controller;

std::atomic<unsigned> nextSeed{0};

std::string dispatcherOf(unsigned number) { return "stress " + std::to_string(number * Crowd::workers / Crowd::size); }

}  // namespace

void seedChance(unsigned seed) { nextSeed = seed; }

unsigned chance(unsigned limit) {
  thread_local std::minstd_rand sequence(nextSeed.fetch_add(1000003));
  return static_cast<unsigned>(sequence()) / 8 % limit;
}

/// The client of one session. In each callback it does what chance has it do to the crowd, and goes on with a command.
class Visitor final : public testing_support::NullClient {
 public:
  Visitor(Crowd& crowd, unsigned number) : crowd_(crowd), number_(number) {}

  /// Before the session is started.
  void drive(const std::shared_ptr<Controller>& session) {
    session_ = session.get();
    life_ = session;
  }

  /// Also from inside the destructor, which has to refuse the start and the command.
  void onDisconnected() override {
    ++crowd_.counts().ends;
    // What a failed transfer left is not freed with the session.
    delete std::exchange(session_->received, nullptr);
    if (chance(2) == 0) crowd_.start(*session_);
    if (chance(4) == 0) Crowd::command(*session_);
    crowd_.actInCallback(number_, session_);
  }
  void onRetrieve(const std::string& /*name*/, const std::string& /*text*/, std::string* content) override {
    delete content;
    ++crowd_.counts().files;
    goOn();
  }

 private:
  void onOther(const char* /*callback*/, const std::string& /*text*/) override { goOn(); }
  void goOn() {
    crowd_.actInCallback(number_, session_);
    if (const auto session = life_.lock()) Crowd::command(*session);
  }

  Crowd& crowd_;
  const unsigned number_;
  Controller* session_ = nullptr;
  std::weak_ptr<Controller> life_;
};

Crowd::Crowd(const tovik::Address& server) : server_(server) {
  for (unsigned number = 0; number < size; number += size / workers)
    if (!tovik::DispatchStore::inst().add(dispatcherOf(number), 1)) throw std::runtime_error("no dispatcher");
}

Crowd::~Crowd() = default;

void Crowd::actAsHost() {
  const unsigned number = chance(size);
  const Session session = share(number);
  if (session == nullptr || chance(60) == 0) {
    const Session made = make(number);
    start(*made);
    exchange(number, made);
  } else if (chance(60) == 0) {
    exchange(number, nullptr);
  } else if (chance(30) == 0) {
    static_cast<void>(session->stop());
    if (chance(2) == 0) start(*session);
  } else {
    command(*session);
  }
}

void Crowd::actInCallback(unsigned number, const Controller* session) {
  if (chance(100) == 0) {
    const Session own = share(number);
    if (own.get() == session && chance(2) == 0) static_cast<void>(own->stop());
    if (own.get() == session && chance(2) == 0) exchange(number, nullptr);
  }
  if (number + 1 == size || chance(30) != 0) return;
  const unsigned higher = number + 1 + chance(size - number - 1);
  if (const Session other = share(higher); other != nullptr && chance(2) == 0) static_cast<void>(other->stop());
  if (chance(2) == 0) exchange(higher, nullptr);
}

void Crowd::start(Controller& session) {
  if (session.start()) ++counts_.starts;
}

void Crowd::command(Controller& session) {
  const bool passive = chance(2) == 0;
  switch (chance(10)) {
    case 0:
      return static_cast<void>(session.getPwd());
    case 1:
      return static_cast<void>(session.changeCwd("directory"));
    case 2:
      return static_cast<void>(session.cdUp());
    case 3:
      return static_cast<void>(chance(5) == 0 ? session.sendLogout() : session.getPwd());
    case 4:
      return static_cast<void>(session.getNlst(passive));
    default:
      return static_cast<void>(session.getFile("file", passive));
  }
}

bool Crowd::end() {
  for (unsigned number = 0; number < size; ++number) exchange(number, nullptr);
  // A callback may still share one, and destroy it.
  bool allEnded = alive_.waitUntil([](long alive) { return alive == 0; });
  for (unsigned number = 0; number < size; number += size / workers)
    allEnded &= static_cast<bool>(tovik::DispatchStore::inst().remove(dispatcherOf(number)));
  return allEnded;
}

Crowd::Session Crowd::share(unsigned number) {
  const std::lock_guard lock(mutex_);
  return sessions_.at(number);
}

/// The old one goes with the return value, without the lock.
Crowd::Session Crowd::exchange(unsigned number, Session session) {
  const std::lock_guard lock(mutex_);
  return std::exchange(sessions_.at(number), std::move(session));
}

Crowd::Session Crowd::make(unsigned number) {
  Visitor* visitor = nullptr;
  {
    const std::lock_guard lock(mutex_);
    visitor = &visitors_.emplace_back(*this, number);
  }
  tovik::Address local(0);
  if (!local.set_host("127.0.0.1")) throw std::runtime_error("no local address");
  const tovik::ftp::connection_data_t connection{server_, local, "me", "secret", ""};
  auto made = std::make_unique<Controller>(connection, visitor, dispatcherOf(number), 0, nullptr);
  alive_.change([](long& alive) { ++alive; });
  const Session session(made.release(), [this](Controller* ending) {
    // The same where the control connection has ended before the transfer. As often as not the client starts again, and
    // the destructor has an end to report.
    ending->transport->call([ending] {
      static_cast<void>(ending->stop());
      delete std::exchange(ending->received, nullptr);
    });
    delete ending;
    alive_.change([](long& alive) { --alive; });
  });
  visitor->drive(session);
  ++counts_.sessions;
  return session;
}

}  // namespace stress
