#include "ftp_serve/ftp_server.h"

#include <tovik/dispatch_store.h>

#include <atomic>
#include <utility>

namespace ftp_serve {

namespace {

/// Several servers may run in one program, each with its own workers.
std::string uniqueName() {
  static std::atomic<unsigned> count{0};
  return "ftp_serve " + std::to_string(count++);
}

}  // namespace

FtpServer::FtpServer(Options options)
    : options_(std::move(options)), dispatcherName_(uniqueName()), address_(options_.listen) {
  service_.user = options_.user;
  service_.password = options_.password;
}

FtpServer::~FtpServer() { stop(); }

tovik::Result FtpServer::start() {
  if (tovik::Result opened = service_.tree.open(options_.root); !opened) return opened;
  if (tovik::Result added = tovik::DispatchStore::inst().add(dispatcherName_, options_.workers); !added) return added;
  tovik::Result opened = openShards();
  if (!opened) stop();
  return opened;
}

/// A new transport is assigned to the worker with the fewest transports, so each shard gets its own worker.
tovik::Result FtpServer::openShards() {
  tovik::DispatchGenerator& dispatcher = *tovik::DispatchStore::inst().fetch(dispatcherName_);
  while (shards_.size() < options_.workers) {
    shards_.push_back(std::make_unique<Shard>(service_, dispatcher, options_.workers > 1));
    if (tovik::Result opened = shards_.back()->open(address_); !opened) return opened;
    address_ = shards_.back()->address();
  }
  return tovik::Success;
}

void FtpServer::stop() {
  if (tovik::DispatchStore::inst().fetch(dispatcherName_) == nullptr) return;
  shards_.clear();
  static_cast<void>(tovik::DispatchStore::inst().remove(dispatcherName_));
}

}  // namespace ftp_serve
