#include "tovik/application_base.h"

#include "connections/transport_core.h"
#include "tovik/consumer.h"
#include "tovik/factory.h"
#include "tovik/socket.h"
#include "tovik/transport.h"

namespace tovik {

ApplicationBase::ApplicationBase(Transport& transport, Protocol protocol, const std::string& name, bool keep_alive,
                                 const SocketOptions* options)
    : core_(transport.core()),
      protocol_(protocol),
      name_(name),
      keepAlive_(keep_alive),
      options_(options != nullptr ? *options : core_->traits()) {}

Result ApplicationBase::setupSocket(Socket& socket, SocketCreationCallback* callback) {
  Factory* const factory = core_->factory();
  if (Result made = factory != nullptr ? factory->makeSocket(protocol_, socket) : socket.open(protocol_); !made)
    return made;
  if (Result set = socket.apply(options_, keepAlive_); !set) return set;
  if (callback != nullptr) callback->onNewSocket(socket);
  return Success;
}

}  // namespace tovik
