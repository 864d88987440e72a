#pragma once

#include <netinet/in.h>

#include <cstddef>
#include <string>

namespace bench::peers {

/// A blocking TCP socket on this host; the destructor closes it. Throws std::system_error on failure.
class Connection {
 public:
  static sockaddr_in loopback(unsigned short port);
  static Connection connectTo(unsigned short port);
  static Connection listenOnAnyPort();

  Connection(Connection&& other) noexcept;
  Connection& operator=(Connection&&) = delete;
  ~Connection();

  Connection accept() const;
  unsigned short localPort() const;

  void send(const std::string& text) const;
  /// 0 at the end of the stream.
  std::size_t receive(char* into, std::size_t size) const;

 private:
  explicit Connection(int descriptor);

  int descriptor_;
};

}  // namespace bench::peers
