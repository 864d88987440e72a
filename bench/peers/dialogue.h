#pragma once

#include <array>
#include <string>

#include "job.h"
#include "peers/connection.h"

namespace bench::peers {

/// A minimal blocking FTP client that retrieves files. Throws on an unexpected reply.
class Dialogue {
 public:
  /// Connects and logs in.
  explicit Dialogue(const Job& job);

  /// Requests the file, and calls take(const Connection& data) to read its data connection to the end.
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

  void logOut() { ask("QUIT\r\n", '2'); }

 private:
  static std::string portCommand(unsigned short port);
  unsigned short passivePort();
  /// Sends a command and returns the last line of its reply.
  std::string ask(const std::string& command, char firstDigit);
  std::string expect(char firstDigit);
  std::string readLine();

  const bool active_;
  const std::string retrieval_;
  const Connection control_;
  std::array<char, 4096> buffer_;
  std::size_t begin_ = 0;  // of the unread bytes in buffer_
  std::size_t end_ = 0;
};

}  // namespace bench::peers
