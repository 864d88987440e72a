#pragma once

#include <tovik/address.h>
#include <tovik/consumer.h>
#include <tovik/data_handler.h>
#include <tovik/result.h>

#include <memory>
#include <string>

#include "ftp_serve/file_tree.h"

namespace tovik {
class Server;
class Transport;
}  // namespace tovik

namespace ftp_serve {

/// The data connection of one transfer, opened by listening (PASV) or by connecting (PORT).
///
/// Threads:   the transport's worker only.
/// Ownership: destroyed with Transport::retire, after which the owner is not called any more.
class DataConnection final : public tovik::Consumer, public tovik::ConsumerGenerator, private tovik::CharHandler {
 public:
  /// Receives the events of the data connection, and may retire it in any of them.
  class Owner {
   public:
    virtual void onDataUp() = 0;
    /// complete: everything was sent, and then this side closed the connection.
    virtual void onDataDown(bool complete) = 0;
    /// The connection could not be opened.
    virtual void onDataFailed() = 0;

   protected:
    ~Owner() = default;
  };

  /// peer: the client's address; connections from other hosts are refused.
  DataConnection(tovik::Transport& transport, Owner& owner, const tovik::Address& peer);
  ~DataConnection() override;

  /// Listens on the address; sets its port to the one that was chosen.
  tovik::Result listen(tovik::Address& address);
  tovik::Result connect(const tovik::Address& remote, const tovik::Address& local);

  bool isUp() const { return channel_ != nullptr; }
  /// Sends the data, then closes the connection. To be called once, while isUp().
  void sendAll(const std::string& text);
  void sendAll(FileTree::File file);

 private:
  tovik::Consumer* getConsumer() override { return this; }
  void onConduitActive(tovik::Conduit* conduit) override;
  bool getDataAggregator(tovik::Channel* channel, tovik::DataAggregator*& aggregator) override;
  void onChannelUp(tovik::Channel* channel) override;
  void onChannelDown(tovik::Channel* channel, int direction) override;
  void onConduitInactive(tovik::Conduit* conduit) override;
  void onData(tovik::Channel* channel, const char* data, unsigned long size, tovik::Multicast* multicast) override;

  tovik::Transport& transport_;
  Owner& owner_;
  const tovik::Address peer_;
  std::unique_ptr<tovik::Server> listener_;
  bool accepts_ = false;  // whether to accept the connection whose events are being handled
  bool sendingAll_ = false;
  tovik::Channel* channel_ = nullptr;
};

}  // namespace ftp_serve
