#pragma once

#include <array>
#include <string>

#include "job.h"
#include "peers/connection.h"

namespace bench::peers {

/// The least of an FTP client that can retrieve files, one blocking call after the other. An unexpected reply throws.
class Dialogue {
 public:
  /// Connects and logs in.
  explicit Dialogue(const Job& job);

  /// Asks for the file, and calls take(const Connection& data) to empty its data connection.
  template <class Take>
  void retrieve(Take&& take) {
    if (active_) {
      const Connection listener = Connection::listenOnAnyPort();
      ask(portCommand(listener.localPort()), '2');
      ask(retrieval_, '1');
      take(listener.accept());
    } else {
      const Connection data = Connection::connectTo(passivePort());
      ask(retrieval_, '1');
      take(data);
    }
    expect('2');
  }

  void leave() { ask("QUIT\r\n", '2'); }

 private:
  static std::string portCommand(unsigned short port);
  unsigned short passivePort();
  /// Gives the last line of the reply.
  std::string ask(const std::string& command, char firstDigit);
  std::string expect(char firstDigit);
  std::string readLine();

  const bool active_;
  const std::string retrieval_;
  const Connection control_;
  std::array<char, 4096> buffer_;
  std::size_t begin_ = 0;  // of the bytes not read yet
  std::size_t end_ = 0;
};

}  // namespace bench::peers
