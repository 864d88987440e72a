#pragma once

#include <gtest/gtest.h>
#include <tovik/client.h>
#include <tovik/transport.h>

#include <deque>
#include <memory>
#include <string>

#include "recorder.h"
#include "support/leak_check.h"
#include "support/log_capture.h"
#include "support/loopback_socket.h"
#include "support/manual_clock.h"
#include "support/scoped_dispatcher.h"
#include "transport_on.h"

namespace testing_support {

/// One transport with one consumer, and a plain listener to connect to.
class Connections : public LeakCheckedTest {
 protected:
  std::unique_ptr<tovik::Transport> transportWith(const tovik::Traits& traits = {},
                                                  tovik::ThreadCallbacks* callbacks = nullptr,
                                                  tovik::Factory* factory = nullptr) {
    return transportOn(dispatcher.get(), traits, callbacks, factory);
  }

  static tovik::Result connect(tovik::Transport& through, tovik::Consumer& with, const tovik::Address& remote,
                               int limit_ms = -1) {
    tovik::Client client(through, tovik::Protocol::tcp, with, "client", false, nullptr);
    return client.setup_and_connect(remote, tovik::Address(0), limit_ms);
  }
  /// Begins a connection of a consumer, and takes it at the listener.
  LoopbackSocket peerOf(tovik::Transport& through, tovik::Consumer& with) {
    EXPECT_TRUE(connect(through, with, listener.address()));
    return listener.accept();
  }
  LoopbackSocket peerOf(tovik::Consumer& with) { return peerOf(*transport, with); }
  LoopbackSocket peer() { return peerOf(consumer); }
  /// The same, and waits until the channel is up.
  LoopbackSocket peerWhenUp() {
    LoopbackSocket connection = peer();
    EXPECT_TRUE(consumer.waitsFor("onChannelUp"));
    return connection;
  }

  /// Waits until the worker has done everything that was waiting.
  void letTheWorkerPass() {
    for (int turn = 0; turn < 3; ++turn) transport->call([] {});
  }

  /// A further consumer that outlives the transport.
  Recorder& another() { return others.emplace_back(); }

  LogCapture log{30};
  LoopbackSocket listener = LoopbackSocket::listening();
  ManualClock clock;
  ScopedDispatcher dispatcher{"d", 1, clock};
  Recorder consumer;
  std::deque<Recorder> others;
  std::unique_ptr<tovik::Transport> transport = transportWith();
};

}  // namespace testing_support
