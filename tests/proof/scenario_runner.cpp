#include "scenario_runner.h"

#include <gtest/gtest.h>
#include <tovik/thread_callbacks.h>

#include <memory>
#include <new>
#include <ostream>
#include <stdexcept>
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
class LogWarmUp final : public ThreadCallbacks {
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
  Subject(const connection_data_t& connection, ScriptedClient& client, ThreadCallbacks& logWarmUp) {
    const ChargedMemory charged;
    try {
      controller_ = std::make_unique<Controller>(connection, &client, "stage", 0, &logWarmUp);
      client.setController(controller_.get());
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

connection_data_t connectionTo(const ScenarioServer& server) {
  connection_data_t connection{server.address(), Address(0), "me", "secret", "books"};
  if (!connection.local.set_host(server.home())) throw std::runtime_error(server.home() + " is no address");
  return connection;
}

}  // namespace

void PrintTo(const RunResult& result, std::ostream* out) {
  *out << result.mismatch;
  for (const auto& line : result.lines) *out << "\n  " << line;
}

ScenarioRunner::ScenarioRunner()
    : logged_(qk::logging::AddHandler([this](const qk::logging::Record& record) {
        if (record.level >= qk::logging::LogLevel::Warning) warned_ = true;
        if (record.text.find("exception in a handler") != std::string::npos) handlerThrew_ = true;
      })),
      levelBefore_(qk::logging::g_minLogLevel) {
  qk::logging::SetMinLogLevel(0);
}

ScenarioRunner::~ScenarioRunner() {
  qk::logging::SetMinLogLevel(levelBefore_);
  qk::logging::RemoveHandler(logged_);
}

RunResult ScenarioRunner::warmUp(const Scenario& scenario) { return playOnce(scenario, {}); }

void ScenarioRunner::play(const Scenario& scenario, ScenarioServer::Terms terms,
                          const std::function<void(const RunResult&)>& check) {
  const Held before = testing_support::heldAtRest();
  const long bytesBefore = heapInUse().bytes;
  check(playOnce(scenario, terms));
  // The kernel lists a joined thread for a moment longer, and the worker frees what ended in a turn at the end of it.
  static_cast<void>(
      testing_support::eventually([&] { return heapInUse().bytes <= bytesBefore && heldNow() == before; }));
  const Held after = heldNow();
  EXPECT_EQ(after.descriptors, before.descriptors) << "descriptors are left behind";
  EXPECT_EQ(after.threads, before.threads) << "threads are left behind";
  EXPECT_LE(heapInUse().bytes, bytesBefore) << "memory is left behind";
}

RunResult ScenarioRunner::playOnce(const Scenario& scenario, ScenarioServer::Terms terms) {
  ScriptedClient client(scenario.commands());
  LogWarmUp logWarmUp;
  ScenarioServer peer(client, terms);
  RunResult result;
  warned_ = false;
  handlerThrew_ = false;
  {
    Subject subject(connectionTo(peer), client, logWarmUp);
    result.started = subject.start();
    try {
      if (result.started) peer.play(scenario);
    } catch (const Stall& stall) {
      result.mismatch = stall.what();
      result.stalled = true;
    } catch (const std::runtime_error& error) {
      result.mismatch = error.what();
    }
    peer.hangUp();
    subject.stop();
  }
  result.ranOutOfMemory = client.ranOutOfMemory();
  result.warned = warned_;
  result.handlerThrew = handlerThrew_;
  result.lines = client.lines();
  result.expected = peer.expectedLines();
  result.controlBytes = peer.controlBytes();
  result.dataBytes = peer.dataBytes();
  return result;
}

}  // namespace tovik::ftp
