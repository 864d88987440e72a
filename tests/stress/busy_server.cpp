#include "busy_server.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <tovik/ftp_bridge/ftp_bridge.h>

#include <array>
#include <stdexcept>
#include <utility>
#include <vector>

namespace stress {

namespace {

constexpr int acceptLimit_ms = 1000;
constexpr std::size_t strangersKept = 20;

bool isReadable(int descriptor, int limit_ms) {
  pollfd waiting{descriptor, POLLIN, 0};
  return ::poll(&waiting, 1, limit_ms) > 0;
}

std::string content(unsigned long lines) {
  std::string all;
  for (unsigned long i = 0; i < lines; ++i) all += "name " + std::to_string(i) + "\r\n";
  return all;
}

}  // namespace

BusyServer::BusyServer(Manners manners, unsigned seed)
    : manners_(manners), stopping_(::eventfd(0, EFD_CLOEXEC)), random_(seed) {}

BusyServer::~BusyServer() {
  ::eventfd_write(stopping_.number(), 1);
  thread_.join();
}

void BusyServer::serve() {
  for (;;) {
    std::vector<pollfd> waiting{{stopping_.number(), POLLIN, 0}, {listener_.number(), POLLIN, 0}};
    for (const Client& client : clients_) waiting.push_back({client.control.number(), POLLIN, 0});
    ::poll(waiting.data(), waiting.size(), -1);
    if (waiting[0].revents != 0) return;
    auto client = clients_.begin();
    for (auto ready = waiting.begin() + 2; ready != waiting.end(); ++ready) {
      const auto current = client++;
      if (ready->revents != 0) receive(*current);
      if (!current->control.isOpen()) clients_.erase(current);
    }
    if (waiting[1].revents != 0) accept();
  }
}

void BusyServer::accept() try {
  clients_.push_back({listener_.accept(), {}, {}, tovik::Address(0), false});
  reply(clients_.back(), "220 Ready");
} catch (const std::runtime_error&) {
  // A client that has gone already.
}

void BusyServer::receive(Client& client) try {
  const std::string more = client.control.receive();
  if (more.empty()) return client.control.close();
  client.unread += more;
  for (auto end = client.unread.find("\r\n"); end != std::string::npos; end = client.unread.find("\r\n")) {
    const std::string line = client.unread.substr(0, end);
    client.unread.erase(0, end + 2);
    obey(client, line);
    if (!client.control.isOpen()) return;
  }
} catch (const std::runtime_error&) {
  // A client that goes in the middle of something is what all this is about.
  client.control.close();
}

void BusyServer::obey(Client& client, const std::string& line) {
  if (happens(50)) return;
  misbehave(client);
  if (!client.control.isOpen()) return;
  const auto blank = std::min(line.find(' '), line.size());
  answer(client, line.substr(0, blank), line.substr(std::min(blank + 1, line.size())));
  if (client.control.isOpen()) misbehave(client);
}

void BusyServer::answer(Client& client, const std::string& verb, const std::string& argument) {
  if (verb == "USER") return reply(client, "331 Password?");
  if (verb == "PASS") return reply(client, "230 Hello");
  if (verb == "PWD") return reply(client, "257 \"/\"");
  if (verb == "CWD") return reply(client, "250 Done");
  if (verb == "CDUP") return reply(client, "200 Done");
  if (verb == "PASV") return offer(client);
  if (verb == "NLST" || verb == "RETR") return transfer(client);
  if (verb == "PORT") {
    client.isPassive = false;
    if (!tovik::ftp::ProtocolInterpreter::convertAddr(argument, client.active)) return reply(client, "501 What?");
    return reply(client, "200 Fine");
  }
  reply(client, verb == "QUIT" ? "221 Bye" : "502 No");
  if (verb == "QUIT") client.control.close();
}

void BusyServer::offer(Client& client) {
  client.passive = Socket::listening();
  client.isPassive = true;
  std::string text;
  if (!tovik::ftp::ProtocolInterpreter::convertAddr(client.passive.address(), text)) throw std::runtime_error("PASV");
  reply(client, "227 Entering Passive Mode (" + text + ")");
}

void BusyServer::transfer(Client& client) {
  Socket data = openData(client);
  if (happens(10)) return reply(client, "550 No");
  // Then the session never holds a file whose outcome is open: its destructor would not free that.
  const bool replyFirst = manners_ == Manners::good || happens(3);
  reply(client, replyFirst ? "226 Done" : "150 Here");
  data.send(content(happens(10) ? 0 : 200));
  if (happens(20))
    data.reset();
  else
    data.close();
  if (!replyFirst) reply(client, "226 Done");
}

BusyServer::Socket BusyServer::openData(Client& client) {
  if (!client.isPassive) return Socket::connected(client.active);
  const Socket listener = std::move(client.passive);
  if (!listener.isOpen() || !isReadable(listener.number(), acceptLimit_ms)) throw std::runtime_error("nobody came");
  return listener.accept();
}

void BusyServer::misbehave(Client& client) {
  static const std::array<const char*, 8> unasked{
      "257 \"/\"", "226 Done", "150 Here", "200 Fine", "250-More\r\n250 Done", "no reply", "550 No", "331 Password?"};
  while (happens(5)) reply(client, unasked[random_() % unasked.size()]);
  if (client.active != tovik::Address(0))
    while (happens(4)) sendStranger(client.active);
  if (happens(150)) reply(client, "421 Closing");
  if (happens(60)) return client.control.reset();
  if (happens(60)) client.control.close();
}

void BusyServer::sendStranger(const tovik::Address& to) try {
  Socket& stranger = strangers_.emplace_back(Socket::connected(to));
  if (happens(2)) stranger.send("what a stranger says");
  if (happens(3)) stranger.reset();
  if (happens(3)) stranger.close();
  if (strangers_.size() > strangersKept) strangers_.pop_front();
} catch (const std::runtime_error&) {
  // Nobody listens there any more.
}

void BusyServer::reply(Client& client, const std::string& text) { client.control.send(text + "\r\n"); }

bool BusyServer::happens(unsigned oneOf) { return manners_ == Manners::bad && random_() % oneOf == 0; }

}  // namespace stress
