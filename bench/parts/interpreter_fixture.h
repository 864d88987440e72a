#pragma once

#include <tovik/dispatch_store.h>
#include <tovik/ftp_bridge/ftp_bridge.h>

#include "parts/fake_channel.h"

namespace bench::parts {

/// The protocol interpreter of a session, on a channel without a connection. Nothing runs on its worker.
class InterpreterFixture {
 public:
  InterpreterFixture()
      : client_(true), controller_(noServer(), &client_, dispatcher(), 0, nullptr), interpreter_(controller_) {
    interpreter_.onChannelUp(&channel_);
  }

  tovik::ftp::ProtocolInterpreter& interpreter() { return interpreter_; }
  FakeChannel& channel() { return channel_; }

 private:
  static tovik::ftp::connection_data_t noServer() { return {tovik::Address(), tovik::Address(), {}, {}, {}}; }
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
