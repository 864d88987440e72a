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

/// The data connection of one transfer, made by listening (PASV) or by connecting (PORT).
///
/// Threads:   the transport's worker only.
/// Ownership: given back with Transport::retire, whereupon its owner hears nothing more.
class DataLink final : public tovik::Consumer, public tovik::ConsumerGenerator, private tovik::CharHandler {
 public:
  /// What is told of the link. May retire it in any of these.
  class Owner {
   public:
    virtual void onDataUp() = 0;
    /// whole: this side ended it, and everything had been sent.
    virtual void onDataDown(bool whole) = 0;
    /// It could not be made.
    virtual void onDataFailed() = 0;

   protected:
    ~Owner() = default;
  };

  /// peer: the control connection's. Nobody else may have the data.
  DataLink(tovik::Transport& transport, Owner& owner, const tovik::Address& peer);
  ~DataLink() override;

  /// Listens on the address, which becomes the one with the port that was chosen.
  tovik::Result listen(tovik::Address& address);
  tovik::Result connect(const tovik::Address& remote, const tovik::Address& local);

  bool isUp() const { return channel_ != nullptr; }
  /// Sends everything and ends the link then. Once, and only while it is up.
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
  bool wanted_ = false;  // of the connection whose events come just now
  bool sendsAll_ = false;
  tovik::Channel* channel_ = nullptr;
};

}  // namespace ftp_serve
