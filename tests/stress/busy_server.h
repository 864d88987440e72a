#pragma once

#include <tovik/address.h>
#include <tovik/descriptor.h>

#include <deque>
#include <list>
#include <random>
#include <string>
#include <thread>

#include "support/loopback_socket.h"

namespace stress {

/// An FTP server on the loopback interface that serves any number of clients on one thread, and lets anybody in. Every
/// file and every listing is a few thousand bytes. One that misbehaves resets connections, leaves commands unanswered,
/// speaks unasked, and has strangers connect to the listeners of its clients: as often as not, and in an order that
/// the seed gives.
class BusyServer {
 public:
  enum class Manners { good, bad };

  BusyServer(Manners manners, unsigned seed);
  BusyServer(const BusyServer&) = delete;
  BusyServer& operator=(const BusyServer&) = delete;
  /// Ends every connection.
  ~BusyServer();

  tovik::Address address() const { return listener_.address(); }

 private:
  using Socket = testing_support::LoopbackSocket;

  struct Client {
    Socket control;
    std::string unread;
    Socket passive;            // listens for the next transfer
    tovik::Address active{0};  // where the client listens, or last did
    bool isPassive = false;
  };

  void serve();
  void accept();
  void receive(Client& client);
  void obey(Client& client, const std::string& line);
  void answer(Client& client, const std::string& verb, const std::string& argument);
  void offer(Client& client);
  void transfer(Client& client);
  Socket openData(Client& client);
  void misbehave(Client& client);
  void sendStranger(const tovik::Address& to);
  static void reply(Client& client, const std::string& text);

  /// True in one of so many cases, and never where the manners are good.
  bool happens(unsigned oneOf);

  const Manners manners_;
  const Socket listener_ = Socket::listening();
  const tovik::Descriptor stopping_;

  // The server thread's alone.
  std::mt19937 random_;
  std::list<Client> clients_;
  std::deque<Socket> strangers_;

  std::thread thread_{[this] { serve(); }};
};

}  // namespace stress
