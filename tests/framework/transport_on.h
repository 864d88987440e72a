#pragma once

#include <tovik/transport.h>

#include <memory>

namespace testing_support {

inline std::unique_ptr<tovik::Transport> transportOn(tovik::DispatchGenerator* dispatcher,
                                                     const tovik::Traits& traits = {},
                                                     tovik::ThreadCallbacks* callbacks = nullptr,
                                                     tovik::Factory* factory = nullptr) {
  return std::make_unique<tovik::Transport>(dispatcher, traits, callbacks, factory,
                                            std::tr1::function<void(tovik::WorkerThread*)>(), "transport");
}

}  // namespace testing_support
