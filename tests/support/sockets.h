#pragma once

#include <netinet/in.h>
#include <tovik/descriptor.h>

#include <string>

// Plain blocking sockets on loopback, so that what is tested isn't tested with itself. Every wait has the deadline of
// waiting.h and throws std::runtime_error when it passes, or when the system refuses.

namespace testing_support {

sockaddr_in loopback(unsigned short port, const std::string& host = "127.0.0.1");

tovik::Descriptor listenOn(unsigned short port = 0);
unsigned short portOf(const tovik::Descriptor& socket);
tovik::Descriptor acceptFrom(const tovik::Descriptor& listener);
/// from: the local address.
tovik::Descriptor connectTo(unsigned short port, const std::string& from = "127.0.0.1");

void waitReadable(const tovik::Descriptor& socket);
/// The port of a host-port text, as in PORT or between the parentheses of a 227 reply.
unsigned short portIn(const std::string& hostPort);

void sendAll(const tovik::Descriptor& socket, const std::string& bytes);
/// The next bytes; nothing at the peer's end, also when it comes as a reset.
std::string receiveSome(const tovik::Descriptor& socket);
std::string receiveToEnd(const tovik::Descriptor& socket);

}  // namespace testing_support
