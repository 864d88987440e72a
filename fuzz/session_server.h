#pragma once

#include <sys/socket.h>
#include <tovik/socket.h>

#include <array>
#include <cerrno>
#include <string>
#include <utility>

#include "fuzzer.h"
#include "session_host.h"

namespace fuzz {

inline tovik::Address localHost(unsigned short port) {
  tovik::Address address(port);
  require(bool{address.set_host("127.0.0.1")}, "there is a local host");
  return address;
}

/// Where the server's clients connect to; the same for all runs.
class Listener {
 public:
  Listener() {
    require(bool{socket_.open(tovik::Protocol::tcp)} && bool{socket_.listen(localHost(0))}, "the server can listen");
  }
  tovik::Address address() const { return socket_.localAddress(); }
  /// The connection that waits, or one that is not open.
  tovik::Socket accept() {
    tovik::Socket connection;
    tovik::Address remote(0);
    static_cast<void>(socket_.accept(connection, remote));
    return connection;
  }
  void forget() {
    while (accept().isOpen()) {
    }
  }

 private:
  tovik::Socket socket_;
};

/// One of the server's connections. Whatever it is asked when it is not open, it does not do.
class Peer {
 public:
  explicit Peer(SentStreams& sent) : sent_(sent) {}

  bool isOpen() const { return socket_.isOpen(); }
  void open(tovik::Socket socket) {
    socket_ = std::move(socket);
    if (isOpen()) stream_ = sent_.begin();
  }
  void send(const std::string& bytes) {
    if (!isOpen() || bytes.empty()) return;
    sent_.add(stream_, bytes);
    // What did not go whole would leave a gap.
    if (socket_.send(bytes.data(), bytes.size()) != static_cast<long>(bytes.size())) socket_.close();
  }
  std::string receive() {
    std::string received;
    std::array<char, 4096> bytes{};
    for (;;) {
      const long count = isOpen() ? socket_.recv(bytes.data(), bytes.size()) : 0;
      if (count <= 0) return received;
      received.append(bytes.data(), static_cast<std::size_t>(count));
    }
  }
  /// Whether the client has closed or dropped the connection.
  bool hasEnded() const {
    char next = 0;
    const auto count = ::recv(socket_.number(), &next, 1, MSG_PEEK | MSG_DONTWAIT);
    return count == 0 || (count < 0 && errno != EAGAIN);
  }
  void endSending() const {
    if (isOpen()) ::shutdown(socket_.number(), SHUT_WR);
  }
  void close() { socket_.close(); }
  void reset() {
    const linger atOnce{1, 0};
    if (isOpen()) ::setsockopt(socket_.number(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    close();
  }

 private:
  SentStreams& sent_;
  tovik::Socket socket_;
  std::size_t stream_ = 0;
};

/// A server that follows its instructions, however wrong.
class SessionServer {
 public:
  SessionServer(Listener& controlListener, Listener& dataListener, SentStreams& sent)
      : controlListener_(controlListener), dataListener_(dataListener), control_(sent), data_(sent) {}

  Peer& control() { return control_; }
  Peer& data() { return data_; }

  void acceptControl() { control_.open(controlListener_.accept()); }
  void acceptData() { data_.open(dataListener_.accept()); }
  /// Connects to where the client's last PORT said; false when there was none, or nobody listens there.
  bool connectData() {
    if (announced_ == 0) return false;
    tovik::Socket socket;
    bool connected = false;
    if (!socket.open(tovik::Protocol::tcp) || !socket.connect(localHost(announced_), connected)) return false;
    // Where nobody listens the kernel may choose that very port, and connect the socket to itself.
    if (socket.localAddress() == localHost(announced_)) return false;
    data_.open(std::move(socket));
    return true;
  }
  bool isActive() const { return announced_ != 0; }

  void reply(const std::string& line) { control_.send(line + "\r\n"); }
  std::string passiveReply() const {
    std::string text;
    require(bool{tovik::ftp::ProtocolInterpreter::convertAddr(dataListener_.address(), text)}, "addresses have texts");
    return "227 Entering Passive Mode (" + text + ").";
  }

  /// The last command that came since this was last asked, without its argument; empty when none did.
  std::string takeCommand() {
    std::string command;
    const std::string received = control_.receive();
    std::size_t begin = 0;
    for (auto end = received.find("\r\n"); end != std::string::npos; end = received.find("\r\n", begin)) {
      const std::string line = received.substr(begin, end - begin);
      begin = end + 2;
      const auto blank = line.find(' ');
      command = line.substr(0, blank);
      if (command == "PASV") announced_ = 0;
      if (command == "PORT") announced_ = portIn(line.substr(blank + 1));
    }
    return command;
  }

  void close() {
    control_.close();
    data_.close();
    controlListener_.forget();
    dataListener_.forget();
  }

 private:
  static unsigned short portIn(const std::string& text) {
    tovik::Address address(0);
    require(bool{tovik::ftp::ProtocolInterpreter::convertAddr(text, address)}, "the client announces an address");
    return address.port();
  }

  Listener& controlListener_;
  Listener& dataListener_;
  Peer control_;
  Peer data_;
  unsigned short announced_ = 0;
};

}  // namespace fuzz
