#pragma once

#include <tovik/address.h>
#include <tovik/consumer.h>
#include <tovik/data_handler.h>
#include <tovik/data_packetizer.h>

#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "ftp_serve/command.h"
#include "ftp_serve/data_connection.h"
#include "ftp_serve/service.h"

namespace tovik {
class Transport;
}

namespace ftp_serve {

/// The session of one client: reads its commands, replies to them in order, and transfers listings and files.
///
/// Threads:   the transport's worker only.
/// Ownership: owned by Owner, which is notified when the client has disconnected.
class ClientSession final : public tovik::Consumer,
                            private tovik::TelnetPacketizer,
                            private tovik::CharHandler,
                            private DataConnection::Owner {
 public:
  class Owner {
   public:
    /// The control connection has ended. The owner may retire the session.
    virtual void onSessionEnded(ClientSession& session) = 0;

   protected:
    ~Owner() = default;
  };

  ClientSession(const Service& service, tovik::Transport& transport, Owner& owner);
  ~ClientSession() override;

 private:
  struct Verb;
  using Transfer = std::variant<FileTree::File, std::string>;

  bool getDataAggregator(tovik::Channel* channel, tovik::DataAggregator*& aggregator) override;
  void onConduitActive(tovik::Conduit* conduit) override;
  void onConduitInactive(tovik::Conduit* conduit) override;
  void onChannelUp(tovik::Channel* channel) override;
  void onChannelDown(tovik::Channel* channel, int direction) override;
  void onData(tovik::Channel* channel, const char* data, unsigned long size, tovik::Multicast* multicast) override;
  void onDataUp() override;
  void onDataDown(bool complete) override;
  void onDataFailed() override;

  static const Verb* find(const std::string& verb);
  void run(const Command& command);
  void reply(int code, std::string_view text);

  void user(const std::string& name);
  void password(const std::string& word);
  void account(const std::string& name);
  void type(const std::string& code);
  void printDirectory(const std::string& argument);
  void changeDirectory(const std::string& name);
  void changeToParent(const std::string& argument);
  void list(const std::string& argument);
  void retrieve(const std::string& name);
  void port(const std::string& hostPort);
  void passive(const std::string& argument);
  void noop(const std::string& argument);
  void quit(const std::string& argument);

  void enter(const std::string& path, int code);
  void startTransfer(Transfer transfer);
  void sendTransfer();
  void endTransfer(int code, std::string_view text);
  void dropDataConnection();

  const Service& service_;
  tovik::Transport& transport_;
  Owner& owner_;

  tovik::Channel* channel_ = nullptr;
  tovik::Address peer_;
  tovik::Address local_;

  std::optional<std::string> user_;  // set by USER
  bool loggedIn_ = false;
  std::string directory_ = "/";

  std::optional<tovik::Address> portAddress_;  // set by PORT
  DataConnection* dataConnection_ = nullptr;   // owned; retired through the transport
  std::optional<Transfer> transfer_;           // in progress
  std::deque<Command> queued_;                 // commands received during the transfer
};

}  // namespace ftp_serve
