#include <gmock/gmock.h>
#include <sys/mman.h>
#include <tovik/channel.h>
#include <tovik/client.h>
#include <tovik/server.h>
#include <unistd.h>

#include <algorithm>
#include <deque>
#include <memory>
#include <string>

#include "recorder.h"
#include "server_fixture.h"
#include "support/failing_calls.h"
#include "support/latch.h"
#include "support/leak_check.h"
#include "transport_on.h"

namespace tovik {
namespace {

using ::testing::IsEmpty;
using testing_support::FailingCalls;
using testing_support::isWholeLife;
using testing_support::loopback;
using testing_support::LoopbackSocket;
using testing_support::Recorder;
using testing_support::transportOn;

/// Sends back what arrives.
class Echoes final : public ConsumerGenerator {
 public:
  Consumer* getConsumer() override {
    Recorder& recorder = consumers.emplace_back();
    recorder.when("data", [&recorder, sent = std::make_shared<unsigned long>(0)] {
      const std::string data = recorder.data();
      recorder.channel()->send(data.data() + *sent, data.size() - *sent);
      *sent = data.size();
    });
    return &recorder;
  }
  std::deque<Recorder> consumers;
};

/// A dispatcher, a transport, a server and a client that talk to each other, from their beginning to their end. Any
/// system call may fail meanwhile.
class Life {
 public:
  Life() {
    client_.when("onChannelUp", [this] {
      client_.channel()->send("hello", 5);
      client_.channel()->sendFile(fileOf("content"), 0, 7);
    });
    client_.when("data", [this] {
      if (client_.data() == "hellocontent") client_.channel()->bringDown();
    });
  }

  void live() {
    DispatchStore& store = DispatchStore::inst();
    if (!store.add("d", 1)) return;
    Traits everyOption;
    everyOption.receive_buffer_bytes = everyOption.send_buffer_bytes = 65'536;
    converse(*transportOn(store.fetch("d"), everyOption));
    EXPECT_TRUE(store.remove("d"));
  }

  std::string answer() const { return client_.data(); }
  bool isWhole() const {
    const auto isNoneOrWhole = [](const Recorder& recorder) {
      return recorder.events().empty() || isWholeLife(recorder.events());
    };
    return isNoneOrWhole(client_) && std::all_of(echoes_.consumers.begin(), echoes_.consumers.end(), isNoneOrWhole);
  }

 private:
  static Descriptor fileOf(const std::string& content) {
    Descriptor file(::memfd_create("content", MFD_CLOEXEC));
    EXPECT_EQ(::pwrite(file.number(), content.data(), content.size(), 0), static_cast<long>(content.size()));
    return file;
  }

  void converse(Transport& transport) {
    Server server(transport, Protocol::tcp, &echoes_, "server", true, nullptr, nullptr);
    if (!server.startListening(loopback())) return;
    Client client(transport, Protocol::tcp, client_, "client", true, nullptr);
    const Result begun = client.setup_and_connect(server.address(), loopback(), -1);
    EXPECT_TRUE(!begun || client_.waitsFor("onConduitInactive"));
    EXPECT_TRUE(server.stopListening(-1));
    EXPECT_TRUE(transport.deactivateAllConduits(-1));
  }

  Recorder client_;
  Echoes echoes_;
};

class FailingSystemCalls : public testing_support::LeakCheckedTest {
 protected:
  testing_support::LogCapture log{30};
};

TEST_F(FailingSystemCalls, LeakNothingWhicheverOneItIs) {
  unsigned error = 0;
  for (int number = 0; number < 1000; ++number, error = 0) {
    for (bool failed = true; failed; ++error) {
      SCOPED_TRACE("call " + std::to_string(number) + ", error " + std::to_string(error));
      const auto before = testing_support::heldAtRest();
      Life life;
      {
        const auto failing = FailingCalls::oneOnly(number, error);
        life.live();
        failed = FailingCalls::anyFailed();
      }
      EXPECT_TRUE(life.isWhole());
      EXPECT_TRUE(FailingCalls::anyHarmed() || life.answer() == "hellocontent");
      EXPECT_EQ(testing_support::heldInTheEnd(before), before);
    }
    if (error == 1) return;
  }
  FAIL() << "a life has no end of system calls";
}

TEST_F(FailingSystemCalls, MayBeLoggedToAHandlerThatDestroysTheServer) {
  const testing_support::ScopedDispatcher dispatcher("d");
  testing_support::Generator generator;
  const auto transport = transportOn(dispatcher.get());
  auto server = std::make_unique<Server>(*transport, Protocol::tcp, &generator, "server", false, nullptr, nullptr);
  ASSERT_TRUE(server->startListening(loopback()));
  const std::string expected = "Tovik: server: accept on " + server->address().printInet() + ": Too many open files";
  testing_support::Latch destroyed;
  const auto handler = qk::logging::AddHandler([&](const qk::logging::Record& record) {
    EXPECT_EQ(record.text, expected);
    server.reset();
    destroyed.open();
  });
  std::unique_ptr<FailingCalls> failing;
  LoopbackSocket remote;
  transport->call([&] {
    // The worker's next calls: it waits, and accepts.
    failing.reset(new FailingCalls(FailingCalls::oneOnly(1)));
    remote = LoopbackSocket::connected(server->address());
  });
  EXPECT_TRUE(destroyed.waits());
  EXPECT_TRUE(qk::logging::RemoveHandler(handler));
}

TEST_F(FailingSystemCalls, AreRepeatedWhereASignalInterrupts) {
  Life life;
  {
    const auto interrupted = FailingCalls::interrupted();
    life.live();
  }
  EXPECT_TRUE(FailingCalls::anyFailed());
  EXPECT_TRUE(life.isWhole());
  EXPECT_EQ(life.answer(), "hellocontent");
  EXPECT_THAT(log.texts(), IsEmpty());
}

}  // namespace
}  // namespace tovik
