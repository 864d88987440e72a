#pragma once

#include <gtest/gtest.h>
#include <tovik/consumer.h>
#include <tovik/server.h>
#include <tovik/transport.h>

#include <deque>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "latch.h"
#include "leaves_nothing.h"
#include "raw_peer.h"
#include "recorder.h"
#include "support/log_capture.h"
#include "support/manual_clock.h"

namespace testing_support {

/// Gives a fresh consumer, which outlives the transport, for each connection.
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

  /// The consumer of the connection of that number, counted from 1.
  Recorder& consumer(unsigned long number) const {
    EXPECT_TRUE(given_.waitUntil([number](const auto& given) { return given.size() >= number; }));
    return *given_.get().at(number - 1);
  }
  std::vector<Recorder*> consumers() const { return given_.get(); }

  // The worker reads these: to be set while it isn't asked.
  std::function<void()> act;
  std::function<void(Recorder&)> prepare;
  bool refuses = false;

 private:
  std::deque<Recorder> kept_;  // the worker's alone
  Awaited<std::vector<Recorder*>> given_;
};

class Serving : public LeavesNothing {
 protected:
  std::unique_ptr<tovik::Server> serverWith(tovik::Transport& through, bool keepAlive = false,
                                            tovik::SocketCreationCallback* callback = nullptr,
                                            tovik::SocketOptions* options = nullptr) {
    return std::make_unique<tovik::Server>(through, tovik::Protocol::tcp, &generator, "server", keepAlive, callback,
                                           options);
  }
  void listen() { ASSERT_TRUE(server->startListening(loopback())); }
  RawConnection peer() { return RawConnection::to(server->address()); }

  LogCapture log{30};
  ManualClock clock;
  Dispatcher dispatcher{"d", 1, clock};
  Generator generator;
  std::unique_ptr<tovik::Transport> transport =
      std::make_unique<tovik::Transport>(dispatcher.get(), tovik::Traits(), nullptr, nullptr,
                                         std::tr1::function<void(tovik::WorkerThread*)>(), "transport");
  std::unique_ptr<tovik::Server> server = serverWith(*transport);
};

/// Keeps the worker of a transport from everything else while it lives.
class HeldWorker {
 public:
  explicit HeldWorker(tovik::Transport& transport)
      : holder_([this, &transport] {
          transport.call([this] {
            held_.open();
            EXPECT_TRUE(released_.waits());
          });
        }) {
    EXPECT_TRUE(held_.waits());
  }
  HeldWorker(const HeldWorker&) = delete;
  HeldWorker& operator=(const HeldWorker&) = delete;
  ~HeldWorker() {
    released_.open();
    holder_.join();
  }

 private:
  Latch held_;
  Latch released_;
  std::thread holder_;
};

}  // namespace testing_support
