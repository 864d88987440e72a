#include "support/control_connection.h"

#include <cstdio>
#include <stdexcept>

namespace testing_support {

namespace {

/// The port of a host-port text, as in PORT and between the parentheses of a 227 reply.
unsigned short portIn(const std::string& hostPort) {
  unsigned high = 0;
  unsigned low = 0;
  if (std::sscanf(hostPort.c_str(), "%*u,%*u,%*u,%*u,%u,%u", &high, &low) != 2)
    throw std::runtime_error("no host-port text: " + hostPort);
  return static_cast<unsigned short>(high * 256 + low);
}

bool endsReply(const std::string& line) { return line.empty() || (line.size() > 3 && line[3] == ' '); }

}  // namespace

ControlConnection::ControlConnection(const tovik::Address& server) : socket_(LoopbackSocket::connected(server)) {
  std::string line = readLine();
  for (greeting_ = line; !endsReply(line); greeting_ += '\n' + line) line = readLine();
}

void ControlConnection::logIn(const std::string& user, const std::string& password) {
  ask("USER " + user);
  ask("PASS " + password);
}

std::string ControlConnection::reply() {
  std::string line = readLine();
  while (!endsReply(line)) line = readLine();
  return line;
}

std::string ControlConnection::ask(const std::string& command) {
  send(command);
  return reply();
}

unsigned short ControlConnection::passivePort() {
  const std::string answer = ask("PASV");
  return portIn(answer.substr(answer.find('(') + 1));
}

LoopbackSocket ControlConnection::passive() { return LoopbackSocket::connected(loopback(passivePort())); }

LoopbackSocket ControlConnection::active() {
  LoopbackSocket listener = LoopbackSocket::listening();
  const unsigned port = listener.port();
  ask("PORT 127,0,0,1," + std::to_string(port / 256) + "," + std::to_string(port % 256));
  return listener;
}

std::string ControlConnection::readLine() {
  auto end = unread_.find("\r\n");
  for (; end == std::string::npos; end = unread_.find("\r\n")) {
    const std::string more = socket_.receive();
    if (more.empty()) return "";
    unread_ += more;
  }
  const std::string line = unread_.substr(0, end);
  unread_.erase(0, end + 2);
  return line;
}

}  // namespace testing_support
