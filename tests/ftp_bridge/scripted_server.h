#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "support/loopback_socket.h"
#include "support/waiting.h"

namespace tovik::ftp {

/// An FTP server on the loopback interface that plays a script, and nothing else. The script is
/// written by calling the verbs in order; each is played as soon as it is written and those before it are done.
///
/// Errors: a step that goes otherwise than written ends the play, and every connection with it; played() reports it.
class ScriptedServer {
 public:
  using Socket = testing_support::LoopbackSocket;

  ScriptedServer();
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;
  /// Ends the play at once when no step is under way.
  ~ScriptedServer();

  Address address() const { return address_; }

  // The control connection.
  ScriptedServer& accept();                            // an earlier one stays open and is ignored
  ScriptedServer& expect(const std::string& command);  // exactly this, and the line end
  ScriptedServer& expectPort();                        // PORT, with an address that data connections go to from now on
  ScriptedServer& reply(const std::string& text);      // the line end is added
  ScriptedServer& replyRaw(const std::string& bytes);  // without an added line end
  ScriptedServer& expectClose();
  ScriptedServer& close();
  ScriptedServer& reset();

  // The data connection, which is made on its first use.
  ScriptedServer& offerData();  // the reply to PASV; a listener waits from now on
  ScriptedServer& data(const std::string& bytes);
  ScriptedServer& expectDataClose();
  ScriptedServer& closeData();

  // Several at once.
  ScriptedServer& login();  // accept, greeting, USER me, PASS secret
  ScriptedServer& passive() { return expect("PASV").offerData(); }
  ScriptedServer& active() { return expectPort().reply("200 PORT is fine"); }

  // By hand, on the server's thread; what it throws ends the play.
  ScriptedServer& onControl(const std::string& what, std::function<void(const Socket&)> act);
  ScriptedServer& onData(const std::string& what, std::function<void(const Socket&)> act);

  /// Runs on the server's thread; false ends the play.
  ScriptedServer& until(std::function<bool()> condition, const std::string& what);

  /// Waits for the end of everything written so far.
  ::testing::AssertionResult played() const;
  /// "< NLST" as received, "> 226 Done" as sent, and the data connection's part in words.
  std::vector<std::string> transcript() const { return state_.get().transcript; }
  /// Where the last control and data connection came from.
  std::string controlPeer() const { return state_.get().controlPeer; }
  std::string dataPeer() const { return state_.get().dataPeer; }
  /// What the last PORT said.
  std::string port() const { return state_.get().port; }

 private:
  struct Step {
    std::string what;
    std::function<void()> play;
  };
  struct State {
    std::deque<Step> steps;
    bool busy = false;
    bool over = false;
    std::string failure;
    std::vector<std::string> transcript;
    std::string controlPeer;
    std::string dataPeer;
    std::string port;
  };

  ScriptedServer& add(const std::string& what, std::function<void()> play);
  void play();
  bool playNext();
  void fail(const std::string& what);
  void note(const std::string& line);

  std::string readLine();
  void openData();

  const Socket listener_ = Socket::listening();
  const Address address_ = listener_.address();
  testing_support::Awaited<State> state_;

  // The server thread's alone.
  std::vector<Socket> earlier_;
  Socket control_;
  std::string unread_;
  Socket dataListener_;
  Address dataAddress_;
  Socket data_;

  std::thread thread_{[this] { play(); }};
};

}  // namespace tovik::ftp
