#pragma once

#include <gtest/gtest.h>
#include <tovik/transport.h>
#include <tovik/worker_thread.h>

#include "support/waiting.h"

namespace testing_support {

/// A transport whose worker is known.
class PlacedTransport {
 public:
  explicit PlacedTransport(tovik::DispatchGenerator* dispatcher, const tovik::Traits& traits = {})
      : transport(
            dispatcher, traits, nullptr, nullptr, [this](tovik::WorkerThread* worker) { placeAt(worker); }, "placed") {}

  tovik::WorkerThread& worker() const {
    EXPECT_TRUE(worker_.waitUntil([](const tovik::WorkerThread* worker) { return worker != nullptr; }));
    return *worker_.get();
  }

 private:
  void placeAt(tovik::WorkerThread* worker) {
    worker_.change([worker](tovik::WorkerThread*& place) { place = worker; });
  }

  Awaited<tovik::WorkerThread*> worker_;

 public:
  // Last: its destructor waits for the worker, which sets its place.
  tovik::Transport transport;
};

}  // namespace testing_support
