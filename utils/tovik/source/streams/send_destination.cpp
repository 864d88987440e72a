#include "tovik/send_destination.h"

#include "tovik/channel.h"

namespace tovik {

void SendDestination::send(const char* data, unsigned long size) const {
  if (channel_ != nullptr) channel_->send(data, size);
}

void SendDestination::fail() const {
  if (channel_ != nullptr) channel_->bringDown();
}

}  // namespace tovik
