#include <sys/socket.h>

#include <filesystem>
#include <string>

#include "session_fixture.h"

namespace tovik::ftp {
namespace {

using testing_support::LoopbackSocket;

std::string addressBy(int (*ask)(int, sockaddr*, socklen_t*), int descriptor) {
  sockaddr_in native{};
  socklen_t size = sizeof native;
  return ask(descriptor, reinterpret_cast<sockaddr*>(&native), &size) == 0 ? Address(native).printInet() : "";
}

/// SO_KEEPALIVE of the other end of a connection, a socket of this process; -1 if there is none.
int keepAliveOfPeer(const LoopbackSocket& end) {
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    const int descriptor = std::stoi(entry.path().filename());
    if (addressBy(::getsockname, descriptor) != end.peer().printInet()) continue;
    if (addressBy(::getpeername, descriptor) != end.address().printInet()) continue;
    int value = -1;
    socklen_t size = sizeof value;
    EXPECT_EQ(::getsockopt(descriptor, SOL_SOCKET, SO_KEEPALIVE, &value, &size), 0);
    return value;
  }
  return -1;
}

class SessionSocket : public Session {
 protected:
  /// Runs a transfer in that mode and looks at the data connection while it is up.
  void looksAtDataConnection(bool mode) {
    server.login();
    (mode == passiveMode ? server.passive() : server.active()).expect("RETR file");
    // In active mode the connection is up before the client accepts it.
    server.onData("send a byte", [](const LoopbackSocket& data) { data.send("x"); });
    serverAfter("Tovik: data connection up");
    server.onData("look", [this](const LoopbackSocket& data) { keepAlive = keepAliveOfPeer(data); });
    server.closeData().reply("226 Done");
    onceLoggedIn([this, mode] { EXPECT_TRUE(controller->getFile("file", mode)); });
    ASSERT_TRUE(client.waits("onRetrieve")) << server.played();
  }

  int keepAlive = -1;  // of the last socket that was looked at
};

TEST_F(SessionSocket, OfTheControlConnectionSendsNoKeepAliveProbes) {
  server.login().onControl("look", [this](const LoopbackSocket& control) { keepAlive = keepAliveOfPeer(control); });
  start();
  ASSERT_TRUE(server.played());
  EXPECT_EQ(keepAlive, 0);
}

TEST_F(SessionSocket, OfAPassiveDataConnectionSendsNoKeepAliveProbes) {
  looksAtDataConnection(passiveMode);
  EXPECT_EQ(keepAlive, 0);
}

TEST_F(SessionSocket, OfAnActiveDataConnectionSendsNoKeepAliveProbes) {
  looksAtDataConnection(activeMode);
  EXPECT_EQ(keepAlive, 0);
}

}  // namespace
}  // namespace tovik::ftp
