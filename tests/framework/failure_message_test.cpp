#include <gmock/gmock.h>
#include <tovik/client.h>
#include <tovik/server.h>
#include <tovik/worker_thread.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "connections.h"
#include "server_fixture.h"
#include "support/failing_calls.h"
#include "support/heap.h"
#include "support/latch.h"
#include "support/rest.h"

// The whole text of each message about a failed system call or a lack of memory.

namespace tovik {
namespace {

using ::testing::ElementsAre;
using testing_support::FailingCalls;
using testing_support::Generator;
using testing_support::HeldWorker;
using testing_support::Latch;
using testing_support::loopback;
using testing_support::LoopbackSocket;

using Messages = std::vector<std::string>;

class FailureMessage : public testing_support::Connections {
 protected:
  /// Waits until the worker sleeps: its system calls are counted too.
  static void rest() {
    const auto end = std::chrono::steady_clock::now() + testing_support::deadline;
    bool asleep = testing_support::othersSleep();
    for (; !asleep && std::chrono::steady_clock::now() < end; asleep = testing_support::othersSleep())
      std::this_thread::yield();
    EXPECT_TRUE(asleep);
  }

  /// The messages of an act whose first, second … system call fails, up to the given number.
  template <class Act>
  static Messages messagesOf(int calls, Act&& act) {
    Messages messages;
    for (int number = 0; number < calls; ++number) {
      rest();
      const auto failing = FailingCalls::oneOnly(number);
      const Result result = act();
      EXPECT_TRUE(FailingCalls::anyFailed()) << number;
      messages.push_back(result ? "none" : result.message);
    }
    return messages;
  }

  static SocketOptions everyOption() {
    SocketOptions options;
    options.receive_buffer_bytes = options.send_buffer_bytes = 65'536;
    return options;
  }

  Generator generator;
};

TEST_F(FailureMessage, OfAConnectNamesWhatFailed) {
  SocketOptions options = everyOption();
  Client client(*transport, Protocol::tcp, consumer, "client", true, &options);
  EXPECT_THAT(messagesOf(8, [&] { return client.setup_and_connect(listener.address(), loopback(), -1); }),
              ElementsAre("socket: Too many open files", "no_delay: Protocol not available",
                          "keep_alive: Protocol not available", "receive_buffer_bytes: Protocol not available",
                          "send_buffer_bytes: Protocol not available", "bind to 127.0.0.1:0: Protocol not available",
                          "bind to 127.0.0.1:0: Address already in use",
                          "connect to " + listener.address().printInet() + ": Network is unreachable"));
}

TEST_F(FailureMessage, OfAListenerNamesWhatFailed) {
  SocketOptions options = everyOption();
  Server server(*transport, Protocol::tcp, &generator, "server", true, nullptr, &options);
  const Address address = testing_support::refusingAddress();
  const std::string listen = "listen on " + address.printInet() + ": ";
  Messages messages = messagesOf(8, [&] { return server.startListening(address); });
  EXPECT_THAT(messages,
              ElementsAre("socket: Too many open files", "no_delay: Protocol not available",
                          "keep_alive: Protocol not available", "receive_buffer_bytes: Protocol not available",
                          "send_buffer_bytes: Protocol not available", listen + "Protocol not available",
                          listen + "Address already in use", listen + "Address already in use"));
  rest();
  // After the call that reads the address.
  const auto failing = FailingCalls::oneOnly(9);
  EXPECT_EQ(server.startListening(address).message, "epoll_add: No space left on device");
}

TEST_F(FailureMessage, OfADispatcherNamesWhatFailed) {
  EXPECT_THAT(messagesOf(3, [] { return DispatchStore::inst().add("other", 1); }),
              ElementsAre("epoll_create: Too many open files", "eventfd: Too many open files",
                          "epoll_add: No space left on device"));
}

TEST_F(FailureMessage, OfWaitingForAConnectionNamesWhatFailed) {
  Server server(*transport, Protocol::tcp, &generator, "server", false, nullptr, nullptr);
  const HeldWorker held(*transport);
  ASSERT_TRUE(server.startListening(loopback()));
  const auto messageOf = [&](int call, unsigned error) {
    Socket connection;
    Address remote(0);
    Address local(0);
    const auto failing = FailingCalls::oneOnly(call, error);
    return server.waitForConnection(connection, remote, local, 30'000).message;
  };
  const std::string accept = "accept on " + server.address().printInet() + ": ";
  EXPECT_EQ(messageOf(0, 0), accept + "Too many open files");
  EXPECT_EQ(messageOf(0, 1), accept + "Too many open files in system");
  EXPECT_EQ(messageOf(0, 2), accept + "No buffer space available");
  EXPECT_EQ(messageOf(0, 3), accept + "Software caused connection abort");
  EXPECT_EQ(messageOf(1, 1), "poll: Cannot allocate memory");
  // Running out of a system resource is logged; an error that the peer caused is not.
  EXPECT_THAT(log.texts(), ElementsAre("Tovik: server: " + accept + "Too many open files",
                                       "Tovik: server: " + accept + "Too many open files in system",
                                       "Tovik: server: " + accept + "No buffer space available"));
  EXPECT_TRUE(server.stopListening(-1));
}

TEST_F(FailureMessage, OfAConnectionThatCannotBeWatchedIsLogged) {
  {
    auto held = std::make_unique<HeldWorker>(*transport);
    ASSERT_TRUE(connect(*transport, consumer, listener.address()));
    // The worker's next system call.
    const auto failing = FailingCalls::oneOnly(0);
    held.reset();
    ASSERT_TRUE(consumer.waitsFor("onConduitInactive"));
  }
  EXPECT_THAT(log.texts(), ElementsAre("Tovik: client: epoll_add: No space left on device"));
  EXPECT_EQ(consumer.events(), (testing_support::Events{"onNewConduit", "onConduitInactive"}));
}

class Idle final : public Thread {
 public:
  Idle() : Thread("idle") {}
  ~Idle() override { Thread::kill(); }
  void run(const volatile bool& stopping) override {
    while (!isSet(stopping)) std::this_thread::yield();
  }
};

TEST_F(FailureMessage, OfAThreadWithoutMemorySaysSo) {
  if (!testing_support::heapIsOurs()) GTEST_SKIP() << "the sanitizer's operator new cannot be replaced";
  Idle idle;
  Result result;
  {
    const testing_support::ScarceMemory none(0);
    result = idle.start();
  }
  EXPECT_EQ(result.message, "out of memory");
  EXPECT_FALSE(idle.is_running());
}

// The thread has not logged before, and there is no memory for its stream, nor for the record.
TEST_F(FailureMessage, OfAHandlerWithoutMemoryForTheLogIsWrittenToStandardError) {
  if (!testing_support::heapIsOurs()) GTEST_SKIP() << "the sanitizer's operator new cannot be replaced";
  ::testing::internal::CaptureStderr();
  Latch done;
  WorkerThread worker("fresh");
  ASSERT_TRUE(worker.start());
  worker.post([] {
    testing_support::grantAllocations(0);
    throw 7;
  });
  worker.post([&] {
    testing_support::grantAllocationsFreely();
    done.open();
  });
  EXPECT_TRUE(done.waits());
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "qk::logging: out of memory\n");
  EXPECT_THAT(log.texts(), ElementsAre());
}

}  // namespace
}  // namespace tovik
