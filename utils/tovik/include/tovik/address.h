#pragma once

#include <netinet/in.h>

#include <iosfwd>
#include <string>

#include "tovik/result.h"
#include "tovik/visibility.h"

namespace tovik {

/// An IPv4 socket address, host and port, printed as 10.0.0.5:1025.
class TOVIK_API Address {
 public:
  /// Host 0.0.0.0, which means any local address, and the given port; port 0 means any free port.
  explicit Address(unsigned short port = 0);
  /// Copies a socket address of the system.
  explicit Address(const sockaddr_in& native);
  /// Copies the address.
  Address(const Address&) = default;
  /// Copies the address.
  Address& operator=(const Address&) = default;
  virtual ~Address() = default;

  /// Copies the host out, in network byte order.
  void extract_addr(in_addr* host) const { *host = native_.sin_addr; }
  /// Replaces the host, given in network byte order.
  void insert_addr(const in_addr* host) { native_.sin_addr = *host; }

  /// In host byte order.
  unsigned short port() const;
  /// In host byte order.
  void set_port(unsigned short port);

  /// Parses four decimal numbers from 0 to 255 joined by dots; blanks, leading zeros and host names are errors. Leaves
  /// the host unchanged on failure.
  Result set_host(const std::string& dotted);

  /// Writes the dotted text of a host and its terminating NUL. Fails if size is too small; 16 is always enough.
  static Result ntop(char* text, unsigned long size, const in_addr* host);

  /// Returns text such as 10.0.0.5:1025, even if a derived class overrides print.
  std::string printInet() const;
  /// Prints the same text; operator<< calls it.
  virtual void print(std::ostream& out) const;

  /// The address as the socket calls take it.
  const sockaddr_in& native() const { return native_; }

 private:
  sockaddr_in native_{};
};

/// Compares the host and the port.
TOVIK_API bool operator==(const Address& a, const Address& b);
/// Calls print.
TOVIK_API std::ostream& operator<<(std::ostream& out, const Address& address);

}  // namespace tovik
