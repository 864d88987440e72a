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
#include "ftp_serve/data_link.h"
#include "ftp_serve/service.h"

namespace tovik {
class Transport;
}

namespace ftp_serve {

/// One client: reads its commands, answers them in order, and sends what it asks for.
///
/// Threads:   the transport's worker only.
/// Ownership: its keeper's, which is told when the client is gone.
class Session final : public tovik::Consumer,
                      private tovik::TelnetPacketizer,
                      private tovik::CharHandler,
                      private DataLink::Owner {
 public:
  class Keeper {
   public:
    /// The session's connection has ended. Usually retires it.
    virtual void onSessionEnded(Session& session) = 0;

   protected:
    ~Keeper() = default;
  };

  Session(const Service& service, tovik::Transport& transport, Keeper& keeper);
  ~Session() override;

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
  void onDataDown(bool whole) override;
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
  void doNothing(const std::string& argument);
  void quit(const std::string& argument);

  void enter(const std::string& path, int code);
  void begin(Transfer transfer);
  void sendTransfer();
  void endTransfer(int code, std::string_view text);
  void dropDataLink();

  const Service& service_;
  tovik::Transport& transport_;
  Keeper& keeper_;

  tovik::Channel* channel_ = nullptr;
  tovik::Address peer_;
  tovik::Address local_;

  std::optional<std::string> user_;  // since USER
  bool loggedIn_ = false;
  std::string directory_ = "/";

  std::optional<tovik::Address> portAddress_;  // since PORT
  DataLink* dataLink_ = nullptr;               // owned, through the transport
  std::optional<Transfer> transfer_;           // in progress
  std::deque<Command> waiting_;                // arrived while it was
};

}  // namespace ftp_serve
