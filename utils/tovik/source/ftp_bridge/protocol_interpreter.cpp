#include "tovik/channel.h"
#include "tovik/data_aggregator.h"
#include "tovik/ftp_bridge/ftp_bridge.h"
#include "tovik/socket_dir.h"

namespace tovik::ftp {

ProtocolInterpreter::ProtocolInterpreter(Controller& owner) : controller(owner) {}

ProtocolInterpreter::~ProtocolInterpreter() = default;

bool ProtocolInterpreter::getDataAggregator(Channel* up, DataAggregator*& aggregator) {
  aggregator = new BufferedAggregator(up, this, this);
  return true;
}

void ProtocolInterpreter::onNewConduit(Conduit* /*conduit*/) {}

void ProtocolInterpreter::onConduitInactive(Conduit* /*conduit*/) { controller.onControlDown(); }

void ProtocolInterpreter::onChannelUp(Channel* up) {
  QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: protocol interpreter up";
  if (channel != nullptr && channel != up) channel->release();
  channel = up;
}

void ProtocolInterpreter::onChannelDown(Channel* down, int direction) {
  QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: protocol interpreter channel down " << printSocketDir(direction);
  sessionState = 0;
  if (down == nullptr || down->endCause() != EndCause::exception) return;
  // The exception may have interrupted a reply or a command, so the next connection starts from the initial state.
  replyState = 0;
  replyCode = {};
  pending = pending_e::none;
}

}  // namespace tovik::ftp
