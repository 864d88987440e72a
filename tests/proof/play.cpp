#include "play.h"

#include <gtest/gtest.h>
#include <tovik/thread_callbacks.h>

#include <memory>
#include <new>
#include <ostream>
#include <stdexcept>
#include <thread>
#include <utility>

#include "support/heap.h"
#include "support/leftovers.h"
#include "support/waiting.h"

namespace tovik::ftp {

namespace {

using testing_support::ChargedMemory;
using testing_support::heapInUse;
using testing_support::Held;
using testing_support::heldNow;

/// Has the worker's log stream make, with memory that is spared, the room that it keeps for its longest record.
class Serving final : public ThreadCallbacks {
 public:
  void onThreadStart(WorkerThread& /*worker*/) override {
    const testing_support::SparedMemory spared;
    QK_LOG(qk::logging::LogLevel::Trace) << std::string(1000, ' ');
  }
  void onThreadStop(WorkerThread& /*worker*/) override {}
};

/// The controller, which no memory is spared for.
class Subject {
 public:
  Subject(const connection_data_t& connection, PlannedHost& host, ThreadCallbacks& serving) {
    const ChargedMemory charged;
    try {
      controller_ = std::make_unique<Controller>(connection, &host, "stage", 0, &serving);
      host.setController(controller_.get());
    } catch (const std::bad_alloc&) {
    }
  }
  Subject(const Subject&) = delete;
  Subject& operator=(const Subject&) = delete;
  ~Subject() {
    if (controller_ == nullptr) return;
    // The controller's destructor keeps what a failed transfer had received.
    controller_->transport->call([this] { delete std::exchange(controller_->received, nullptr); });
    const ChargedMemory charged;
    controller_.reset();
  }

  bool start() {
    const ChargedMemory charged;
    return controller_ != nullptr && controller_->start();
  }
  void stop() {
    const ChargedMemory charged;
    if (controller_ != nullptr) static_cast<void>(controller_->stop());
  }

 private:
  std::unique_ptr<Controller> controller_;
};

connection_data_t connectionTo(const Peer& server) {
  connection_data_t connection{server.address(), Address(0), "me", "secret", "books"};
  if (!connection.local.set_host(server.home())) throw std::runtime_error(server.home() + " is no address");
  return connection;
}

/// The kernel lists a thread for a moment after it has been joined, and the worker frees what ended in a turn at the
/// end of that turn; nothing tells when that has happened.
void settle(const std::function<bool()>& isSettled) {
  const auto end = std::chrono::steady_clock::now() + testing_support::deadline;
  while (!isSettled() && std::chrono::steady_clock::now() < end) std::this_thread::yield();
}

}  // namespace

void PrintTo(const Played& played, std::ostream* out) {
  *out << played.deviation;
  for (const auto& line : played.lines) *out << "\n  " << line;
}

Stage::Stage()
    : logged_(qk::logging::AddHandler([this](const qk::logging::Record& record) {
        if (record.level >= qk::logging::LogLevel::Warning) warned_ = true;
        if (record.text.find("exception in a handler") != std::string::npos) handlerThrew_ = true;
      })),
      levelBefore_(qk::logging::g_minLogLevel) {
  qk::logging::SetMinLogLevel(0);
}

Stage::~Stage() {
  qk::logging::SetMinLogLevel(levelBefore_);
  qk::logging::RemoveHandler(logged_);
}

Played Stage::rehearse(const Scenario& scenario) { return playOnce(scenario, {}); }

void Stage::play(const Scenario& scenario, Peer::Terms terms, const std::function<void(const Played&)>& judge) {
  const Held before = testing_support::heldAtRest();
  const long bytesBefore = heapInUse().bytes;
  judge(playOnce(scenario, terms));
  settle([&] { return heapInUse().bytes <= bytesBefore && heldNow() == before; });
  const Held after = heldNow();
  EXPECT_EQ(after.descriptors, before.descriptors) << "descriptors are left behind";
  EXPECT_EQ(after.threads, before.threads) << "threads are left behind";
  EXPECT_LE(heapInUse().bytes, bytesBefore) << "memory is left behind";
}

Played Stage::playOnce(const Scenario& scenario, Peer::Terms terms) {
  PlannedHost host(scenario.commands());
  Serving serving;
  Peer peer(host, terms);
  Played played;
  warned_ = false;
  handlerThrew_ = false;
  {
    Subject subject(connectionTo(peer), host, serving);
    played.started = subject.start();
    try {
      if (played.started) peer.play(scenario);
    } catch (const Stall& stall) {
      played.deviation = stall.what();
      played.stalled = true;
    } catch (const std::runtime_error& error) {
      played.deviation = error.what();
    }
    peer.hangUp();
    subject.stop();
  }
  played.wantedMemory = host.wantedMemory();
  played.warned = warned_;
  played.handlerThrew = handlerThrew_;
  played.lines = host.lines();
  played.expected = peer.expectedLines();
  played.controlBytes = peer.controlBytes();
  played.dataBytes = peer.dataBytes();
  return played;
}

}  // namespace tovik::ftp
