#pragma once

#include <poll.h>
#include <tovik/address.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "delivery.h"
#include "scenario.h"
#include "scripted_client.h"
#include "support/loopback_socket.h"

namespace tovik::ftp {

/// What ends a play before its script does: the session went otherwise.
struct Mismatch : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Nothing came for as long as the server waits.
struct Stall : Mismatch {
  using Mismatch::Mismatch;
};

/// Plays the server's part of a scenario on the calling thread. Everything that it sends has been received before it
/// goes on, so that the order of events is the script's.
class ScenarioServer {
 public:
  struct Terms {
    Delivery delivery;
    /// Whether something fails, after which the session may rightly wait forever: then the server does not.
    bool failing = false;
  };

  ScenarioServer(const ScriptedClient& client, Terms terms);

  /// A loopback address; the controller's end should be there too.
  const std::string& home() const { return home_; }
  Address address() const { return listener_.address(); }
  /// Plays the scenario, or what of it there is up to the cut. Throws std::runtime_error where it went otherwise.
  void play(const Scenario& scenario);
  /// Closes every connection.
  void hangUp();

  long controlBytes() const { return control_.sent; }
  long dataBytes() const { return data_.sent; }
  /// The callbacks that had to come in the play, in this order and no others.
  const std::vector<std::string>& expectedLines() const { return expectedLines_; }

 private:
  struct Line {
    testing_support::LoopbackSocket socket;
    std::string unread;
    long sent = 0;
  };

  void take(const Step& step);
  void endAfterControlCut();
  void endAfterDataCut();
  void expect(const std::string& command);
  void expectPort();
  std::string readLine();
  void offer(const std::string& text);
  void openData();
  void reply(const std::string& bytes);
  void sendData(const std::string& bytes);
  void endData();
  void cut(Line& line);
  void deliver(Line& line, const std::string& bytes, Delivery::Kind split, Delivery::Kind cutting);
  void send(Line& line, const std::string& bytes);
  void expectLine(const std::string& text);
  void require(const testing_support::LoopbackSocket& wanted) const;
  bool await(std::vector<pollfd> events) const;

  const ScriptedClient& client_;
  const Terms terms_;
  const unsigned long long receivedBefore_;
  const std::string home_;
  const testing_support::LoopbackSocket listener_;
  const testing_support::LoopbackSocket dataListener_;

  Line control_;
  Line data_;
  Address dataAddress_;
  bool offered_ = false;  // the client is to connect, or has connected, to the data listener
  bool cut_ = false;
  bool cutStepWhole_ = false;  // nothing of the step in which the cut was is missing
  unsigned long long sent_ = 0;
  std::string transfer_;         // the last command that transfers
  std::string transferred_;      // its data so far
  const Step* early_ = nullptr;  // its final reply, where that overtook the data
  std::vector<std::string> expectedLines_;
};

}  // namespace tovik::ftp
