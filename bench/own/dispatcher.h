#pragma once

#include <tovik/dispatch_store.h>
#include <tovik/transport.h>

#include <optional>
#include <stdexcept>

namespace bench::own {

/// The dispatcher of a run, with one worker thread for all sessions.
class Dispatcher {
 public:
  static constexpr const char* name = "bench";

  Dispatcher() {
    if (const tovik::Result added = tovik::DispatchStore::inst().add(name, 1); !added)
      throw std::runtime_error(added.message);
    transport_.emplace(tovik::DispatchStore::inst().fetch(name), tovik::Traits(), nullptr, nullptr,
                       std::tr1::function<void(tovik::WorkerThread*)>(), "");
  }
  Dispatcher(const Dispatcher&) = delete;
  Dispatcher& operator=(const Dispatcher&) = delete;
  ~Dispatcher() {
    transport_.reset();
    static_cast<void>(tovik::DispatchStore::inst().remove(name));
  }

  /// Runs a function on the worker, between two events, and waits until it has returned. So a run needs no locks.
  template <class Function>
  void call(Function&& function) {
    transport_->call(function);
  }

 private:
  std::optional<tovik::Transport> transport_;
};

}  // namespace bench::own
