#include "peers/dialogue.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

namespace bench::peers {

// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): the buffer is filled before it is read
Dialogue::Dialogue(const Job& job)
    : active_(job.active), retrieval_("RETR " + job.file + "\r\n"), control_(Connection::connectTo(job.port)) {
  expect('2');
  ask("USER " + job.user + "\r\n", '3');
  ask("PASS " + job.password + "\r\n", '2');
}

std::string Dialogue::portCommand(unsigned short port) {
  return "PORT 127,0,0,1," + std::to_string(port >> 8U) + ',' + std::to_string(port & 255U) + "\r\n";
}

unsigned short Dialogue::passivePort() {
  const std::string reply = ask("PASV\r\n", '2');
  const auto low = reply.rfind(',');
  const auto high = low == std::string::npos ? low : reply.rfind(',', low - 1);
  if (high == std::string::npos) throw std::runtime_error("no address in " + reply);
  const auto port = std::strtoul(&reply[high + 1], nullptr, 10) << 8U | std::strtoul(&reply[low + 1], nullptr, 10);
  return static_cast<unsigned short>(port);
}

std::string Dialogue::ask(const std::string& command, char firstDigit) {
  control_.send(command);
  return expect(firstDigit);
}

std::string Dialogue::expect(char firstDigit) {
  std::string line = readLine();
  while (line.size() < 4 || line[3] == '-') line = readLine();
  if (line[0] != firstDigit) throw std::runtime_error("unexpected reply: " + line);
  return line;
}

std::string Dialogue::readLine() {
  std::string line;
  while (true) {
    const char* const first = buffer_.data() + begin_;
    const char* const last = buffer_.data() + end_;
    const char* const mark = std::find(first, last, '\n');
    line.append(first, mark);
    begin_ += static_cast<std::size_t>(mark - first);
    if (mark != last) return ++begin_, line;
    begin_ = 0;
    end_ = control_.receive(buffer_.data(), buffer_.size());
    if (end_ == 0) throw std::runtime_error("the server closed the connection");
  }
}

}  // namespace bench::peers
