#include "support/little_server.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <exception>
#include <iostream>
#include <utility>

namespace testing_support {

void LittleServer::Talk::reply(const std::string& line) const { control_.send(line + "\r\n"); }

void LittleServer::Talk::openData() { data_ = listener_.accept(); }

void LittleServer::Talk::sendData(const std::string& bytes) const { data_.send(bytes); }

void LittleServer::Talk::waitForDataEnd() const { static_cast<void>(data_.receiveToEnd()); }

void LittleServer::Talk::waitForStop() const { static_cast<void>(server_.waitForInput(-1)); }

LittleServer::LittleServer() : stopping_(::eventfd(0, EFD_CLOEXEC)) {
  on("", [](Talk& talk, const std::string&) { talk.reply("220 Ready"); });
  on("USER", [](Talk& talk, const std::string&) { talk.reply("331 Password"); });
  on("PASS", [](Talk& talk, const std::string&) { talk.reply("230 In"); });
  on("CWD", [](Talk& talk, const std::string&) { talk.reply("250 There"); });
  on("PASV", [this](Talk& talk, const std::string&) { openListener(talk); });
  on("NLST", [this](Talk& talk, const std::string&) { sendList(talk); });
  on("RETR", [this](Talk& talk, const std::string& name) { sendFile(talk, name); });
  on("QUIT", [](Talk& talk, const std::string&) {
    talk.reply("221 Bye");
    talk.hangUp();
  });
}

LittleServer::~LittleServer() { stop(); }

void LittleServer::start(unsigned clients) {
  while (threads_.size() < clients) threads_.emplace_back([this] { serve(); });
}

void LittleServer::stop() {
  ::eventfd_write(stopping_.number(), 1);
  for (auto& thread : std::exchange(threads_, {})) thread.join();
}

bool LittleServer::waitForCommand(const std::string& line) const {
  return commands_.waitUntil([&](const auto& all) { return std::find(all.begin(), all.end(), line) != all.end(); });
}

void LittleServer::serve() {
  while (auto talk = nextClient()) {
    try {
      serve(*talk);
    } catch (const std::exception& error) {
      // A client that goes in the middle of something is part of many tests; what it did then is theirs to check.
      std::cout << "little server: " << error.what() << '\n';
    }
  }
}

std::optional<LittleServer::Talk> LittleServer::nextClient() {
  const std::lock_guard lock(accepting_);
  if (!waitForInput(listener_.number())) return std::nullopt;
  return std::optional<Talk>(std::in_place, listener_.accept(), *this);
}

void LittleServer::serve(Talk& talk) {
  obey(talk, "");
  std::string received;
  while (talk.control_.isOpen() && waitForInput(talk.control_.number())) {
    const std::string more = talk.control_.receive();
    if (more.empty()) return;
    received += more;
    for (auto end = received.find("\r\n"); end != std::string::npos; end = received.find("\r\n")) {
      const std::string line = received.substr(0, end);
      received.erase(0, end + 2);
      commands_.change([&](auto& all) { all.push_back(line); });
      if (talk.control_.isOpen()) obey(talk, line);
    }
  }
}

void LittleServer::obey(Talk& talk, const std::string& line) {
  const auto blank = std::min(line.find(' '), line.size());
  const auto found = instructions_.find(line.substr(0, blank));
  if (found == instructions_.end()) return talk.reply("502 No");
  found->second(talk, line.substr(std::min(blank + 1, line.size())));
}

void LittleServer::openListener(Talk& talk) {
  talk.listener_ = LoopbackSocket::listening();
  const unsigned port = talk.listener_.port();
  talk.reply("227 Passive (127,0,0,1," + std::to_string(port / 256) + "," + std::to_string(port % 256) + ")");
}

void LittleServer::sendList(Talk& talk) const {
  talk.reply("150 Names");
  talk.openData();
  talk.sendData(listing);
  talk.closeData();
  talk.reply("226 Done");
}

void LittleServer::sendFile(Talk& talk, const std::string& name) const {
  talk.openData();
  const auto found = files.find(name);
  if (found != files.end()) {
    talk.reply("150 Bytes");
    talk.sendData(found->second);
  }
  talk.closeData();
  talk.reply(found == files.end() ? "550 No such file" : "226 Done");
}

/// False when the server is to stop instead.
bool LittleServer::waitForInput(int descriptor) const {
  std::array<pollfd, 2> descriptors{{{descriptor, POLLIN, 0}, {stopping_.number(), POLLIN, 0}}};
  ::poll(descriptors.data(), descriptors.size(), -1);
  return descriptors[1].revents == 0;
}

}  // namespace testing_support
