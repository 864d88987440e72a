#pragma once

#include <gtest/gtest.h>
#include <tovik/consumer.h>
#include <tovik/server.h>
#include <tovik/transport.h>

#include <deque>
#include <functional>
#include <memory>
#include <vector>

#include "recorder.h"
#include "support/held_worker.h"
#include "support/latch.h"
#include "support/leak_check.h"
#include "support/log_capture.h"
#include "support/loopback_socket.h"
#include "support/manual_clock.h"
#include "support/scoped_dispatcher.h"
#include "transport_on.h"

namespace testing_support {

/// Provides a new consumer, which outlives the transport, for each connection.
class Generator final : public tovik::ConsumerGenerator {
 public:
  tovik::Consumer* getConsumer() override {
    if (act) act();
    if (refuses) return nullptr;
    Recorder& recorder = kept_.emplace_back();
    if (prepare) prepare(recorder);
    given_.change([&](std::vector<Recorder*>& given) { given.push_back(&recorder); });
    return &recorder;
  }

  /// The consumer of the connection with the given number, counted from 1.
  Recorder& consumer(unsigned long number) const {
    EXPECT_TRUE(given_.waitUntil([number](const auto& given) { return given.size() >= number; }));
    return *given_.get().at(number - 1);
  }
  std::vector<Recorder*> consumers() const { return given_.get(); }

  // The worker reads these: set them only while no connection arrives.
  std::function<void()> act;
  std::function<void(Recorder&)> prepare;
  bool refuses = false;

 private:
  std::deque<Recorder> kept_;  // used by the worker only
  Awaited<std::vector<Recorder*>> given_;
};

class ServerTest : public LeakCheckedTest {
 protected:
  std::unique_ptr<tovik::Server> serverWith(tovik::Transport& through, bool keepAlive = false,
                                            tovik::SocketCreationCallback* callback = nullptr,
                                            tovik::SocketOptions* options = nullptr) {
    return std::make_unique<tovik::Server>(through, tovik::Protocol::tcp, &generator, "server", keepAlive, callback,
                                           options);
  }
  void listen() { ASSERT_TRUE(server->startListening(loopback())); }
  LoopbackSocket peer() { return LoopbackSocket::connected(server->address()); }

  LogCapture log{30};
  ManualClock clock;
  ScopedDispatcher dispatcher{"d", 1, clock};
  Generator generator;
  std::unique_ptr<tovik::Transport> transport = transportOn(dispatcher.get());
  std::unique_ptr<tovik::Server> server = serverWith(*transport);
};

}  // namespace testing_support
