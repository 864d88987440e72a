#include "support/raw_client.h"

#include "support/sockets.h"

namespace testing_support {

RawClient::RawClient(unsigned short port) : socket_(connectTo(port)) { reply(); }

void RawClient::logIn(const std::string& user, const std::string& password) {
  ask("USER " + user);
  ask("PASS " + password);
}

void RawClient::send(const std::string& command) { sendRaw(command + "\r\n"); }

void RawClient::sendRaw(const std::string& bytes) { sendAll(socket_, bytes); }

std::string RawClient::reply() {
  for (;;) {
    if (const auto end = received_.find("\r\n"); end != std::string::npos) {
      const std::string line = received_.substr(0, end);
      received_.erase(0, end + 2);
      return line;
    }
    const std::string more = receiveSome(socket_);
    if (more.empty()) return "";
    received_ += more;
  }
}

std::string RawClient::ask(const std::string& command) {
  send(command);
  return reply();
}

unsigned short RawClient::passivePort() {
  const std::string answer = ask("PASV");
  return portIn(answer.substr(answer.find('(') + 1));
}

tovik::Descriptor RawClient::passive() { return connectTo(passivePort()); }

tovik::Descriptor RawClient::active() {
  tovik::Descriptor listener = listenOn();
  const unsigned port = portOf(listener);
  ask("PORT 127,0,0,1," + std::to_string(port / 256) + "," + std::to_string(port % 256));
  return listener;
}

}  // namespace testing_support
