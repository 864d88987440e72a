#pragma once

#include <tovik/dispatch_store.h>
#include <tovik/ftp_bridge/ftp_bridge.h>

#include "parts/fake_channel.h"

namespace bench::parts {

/// A control connection's interpreter, up on a channel without a connection. Nothing runs on its worker.
class Session {
 public:
  Session() : client_(true), controller_(nobody(), &client_, dispatcher(), 0, nullptr), interpreter_(controller_) {
    interpreter_.onChannelUp(&channel_);
  }

  tovik::ftp::ProtocolInterpreter& interpreter() { return interpreter_; }
  FakeChannel& channel() { return channel_; }

 private:
  static tovik::ftp::connection_data_t nobody() { return {tovik::Address(), tovik::Address(), {}, {}, {}}; }
  static const char* dispatcher() {
    static const bool added = tovik::DispatchStore::inst().add("parts", 1).ok;
    return added ? "parts" : "";
  }

  FakeChannel channel_;
  tovik::ftp::FileRetriever client_;
  tovik::ftp::Controller controller_;
  tovik::ftp::ProtocolInterpreter interpreter_;
};

}  // namespace bench::parts
