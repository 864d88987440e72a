#include "ftp_serve/ftp_server.h"

#include <tovik/dispatch_store.h>

#include <atomic>
#include <utility>

namespace ftp_serve {

namespace {

/// Several servers may run in one program, each with workers of its own.
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
  tovik::Result opened = openLanes();
  if (!opened) stop();
  return opened;
}

/// A new transport goes to the worker that serves the fewest, so each lane gets one of its own.
tovik::Result FtpServer::openLanes() {
  tovik::DispatchGenerator& dispatcher = *tovik::DispatchStore::inst().fetch(dispatcherName_);
  while (lanes_.size() < options_.workers) {
    lanes_.push_back(std::make_unique<Lane>(service_, dispatcher, options_.workers > 1));
    if (tovik::Result opened = lanes_.back()->open(address_); !opened) return opened;
    address_ = lanes_.back()->address();
  }
  return tovik::Success;
}

void FtpServer::stop() {
  if (tovik::DispatchStore::inst().fetch(dispatcherName_) == nullptr) return;
  lanes_.clear();
  static_cast<void>(tovik::DispatchStore::inst().remove(dispatcherName_));
}

}  // namespace ftp_serve
