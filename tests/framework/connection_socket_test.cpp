#include <gmock/gmock.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <tovik/factory.h>

#include <csignal>
#include <thread>

#include "connections.h"
#include "socket_option.h"

namespace tovik {
namespace {

using ::testing::IsEmpty;
using testing_support::LoopbackSocket;
using testing_support::optionOf;

struct SocketState {
  int noDelay = -1;
  int keepAlive = -1;
  int sendBuffer = -1;
  int receiveBuffer = -1;
};

SocketState stateOf(const Socket& socket) {
  return {optionOf(socket, IPPROTO_TCP, TCP_NODELAY), optionOf(socket, SOL_SOCKET, SO_KEEPALIVE),
          optionOf(socket, SOL_SOCKET, SO_SNDBUF), optionOf(socket, SOL_SOCKET, SO_RCVBUF)};
}

class ConnectionSocket : public testing_support::Connections {
 protected:
  ConnectionSocket() {
    consumer.socketAct = [this](Socket& socket) { state = stateOf(socket); };
  }
  void connectWith(bool keepAlive, SocketOptions* options) {
    Client client(*transport, Protocol::tcp, consumer, "client", keepAlive, options);
    EXPECT_TRUE(client.setup_and_connect(listener.address(), Address(0), -1));
  }
  SocketState state;
};

TEST_F(ConnectionSocket, IsReportedOnTheCallingThreadBeforeItConnects) {
  std::thread::id thread;
  Address remote(1);
  consumer.socketAct = [&](Socket& socket) {
    thread = std::this_thread::get_id();
    remote = socket.remoteAddress();
    EXPECT_TRUE(socket.isOpen());
  };
  connectWith(false, nullptr);
  EXPECT_EQ(thread, std::this_thread::get_id());
  EXPECT_EQ(remote, Address(0));
}

TEST_F(ConnectionSocket, HasNoDelayAndNoKeepAliveByDefault) {
  connectWith(false, nullptr);
  EXPECT_EQ(state.noDelay, 1);
  EXPECT_EQ(state.keepAlive, 0);
}

TEST_F(ConnectionSocket, HasKeepAliveIfRequested) {
  connectWith(true, nullptr);
  EXPECT_EQ(state.keepAlive, 1);
}

TEST_F(ConnectionSocket, HasTheOptionsOfTheClient) {
  SocketOptions options;
  options.no_delay = false;
  options.send_buffer_bytes = 40'000;
  options.receive_buffer_bytes = 50'000;
  connectWith(false, &options);
  EXPECT_EQ(state.noDelay, 0);
  // The kernel doubles the requested size.
  EXPECT_EQ(state.sendBuffer, 80'000);
  EXPECT_EQ(state.receiveBuffer, 100'000);
}

TEST_F(ConnectionSocket, HasTheOptionsOfTheTransportIfTheClientHasNone) {
  Traits traits;
  traits.no_delay = false;
  transport = transportWith(traits);
  connectWith(false, nullptr);
  EXPECT_EQ(state.noDelay, 0);
}

class OwnSockets final : public Factory {
 public:
  Result makeSocket(Protocol /*protocol*/, Socket& socket) override {
    ++made;
    if (!works) return failure("no socket today");
    socket = Socket(Descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)));
    return Success;
  }
  int made = 0;
  bool works = true;
};

TEST_F(ConnectionSocket, ComesFromTheFactory) {
  OwnSockets factory;
  transport = transportWith({}, nullptr, &factory);
  LoopbackSocket remote = peerWhenUp();
  EXPECT_EQ(factory.made, 1);
  EXPECT_EQ(state.noDelay, 1);
  transport.reset();
}

TEST_F(ConnectionSocket, ThatTheFactoryRefusesIsAFailureWithItsText) {
  OwnSockets factory;
  factory.works = false;
  transport = transportWith({}, nullptr, &factory);
  EXPECT_EQ(connect(*transport, consumer, listener.address()).message, "no socket today");
  letTheWorkerPass();
  EXPECT_THAT(consumer.events(), IsEmpty());
  transport.reset();
}

// It counted as up, and was its own peer.
TEST_F(ConnectionSocket, ThatConnectsToItselfIsRefused) {
  Address own = listener.address();
  listener.close();
  Client client(*transport, Protocol::tcp, consumer, "client", false, nullptr);
  const Result met = client.setup_and_connect(own, own, -1);
  EXPECT_EQ(met.message, "connect to " + own.printInet() + ": Connection refused");
  transport->call([] {});
  EXPECT_THAT(consumer.events(), IsEmpty());
}

// What a host spawned from a callback inherited a blocked SIGPIPE.
TEST_F(ConnectionSocket, KeepsTheSignalMaskOfItsWorker) {
  sigset_t inside;
  sigemptyset(&inside);
  transport->call([&] { pthread_sigmask(SIG_SETMASK, nullptr, &inside); });
  EXPECT_EQ(sigismember(&inside, SIGPIPE), 0);
}

}  // namespace
}  // namespace tovik
