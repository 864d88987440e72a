#pragma once

#include <tovik/descriptor.h>

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "support/loopback_socket.h"
#include "support/waiting.h"

namespace testing_support {

/// An FTP server that follows the instructions of a test, hostile and broken things too. One client at a time, a thread
/// for each where more are wanted.
/// Without instructions it lets anybody in, lists `listing` and serves `files`.
class LittleServer {
 public:
  /// What an instruction may do with the client that it is for.
  class Talk {
   public:
    Talk(LoopbackSocket control, const LittleServer& server) : control_(std::move(control)), server_(server) {}

    void reply(const std::string& line) const;
    /// Takes the data connection that the client has made since PASV.
    void openData();
    void sendData(const std::string& bytes) const;
    void closeData() { data_.close(); }
    /// Until the client has closed its data connection.
    void waitForDataEnd() const;
    /// Until the server is asked to stop.
    void waitForStop() const;
    /// Ends the control connection.
    void hangUp() { control_.close(); }

   private:
    friend class LittleServer;
    LoopbackSocket control_;
    LoopbackSocket listener_;
    LoopbackSocket data_;
    const LittleServer& server_;
  };
  using Instruction = std::function<void(Talk& talk, const std::string& argument)>;

  LittleServer();
  LittleServer(const LittleServer&) = delete;
  LittleServer& operator=(const LittleServer&) = delete;
  ~LittleServer();

  /// Before start. The verb "" is the greeting.
  void on(const std::string& verb, Instruction instruction) { instructions_[verb] = std::move(instruction); }
  std::string listing;
  std::map<std::string, std::string> files;

  void start(unsigned clients = 1);
  /// From inside an instruction: nobody else can connect from now on.
  void refuseOthers() { listener_.close(); }
  /// Ends the client's connection, if there is one.
  void stop();
  unsigned short port() const { return port_; }
  std::string url(const std::string& rest = "/") const { return "ftp://u:p@127.0.0.1:" + std::to_string(port_) + rest; }

  /// The command lines received so far.
  std::vector<std::string> commands() const { return commands_.get(); }
  [[nodiscard]] bool waitForCommand(const std::string& line) const;

 private:
  void serve();
  std::optional<Talk> nextClient();
  void serve(Talk& talk);
  void obey(Talk& talk, const std::string& line);
  void openListener(Talk& talk);
  void sendList(Talk& talk) const;
  void sendFile(Talk& talk, const std::string& name) const;
  bool waitForInput(int descriptor) const;

  LoopbackSocket listener_ = LoopbackSocket::listening();
  const unsigned short port_ = listener_.port();
  const tovik::Descriptor stopping_;
  std::map<std::string, Instruction> instructions_;
  Awaited<std::vector<std::string>> commands_;
  std::mutex accepting_;  // held by the thread that waits for a client
  std::vector<std::thread> threads_;
};

}  // namespace testing_support
