#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>

namespace tovik {

class Consumer;
class ConsumerGenerator;
class Socket;
class TransportCore;

/// Where accepted connections are handed to their consumers. Lives on while one is on its way, when the server may be
/// gone already.
///
/// Threads: open and close by the server's owner; admit on the worker.
class Reception {
 public:
  Reception(std::shared_ptr<TransportCore> core, ConsumerGenerator* generator, std::string name);

  void open();
  /// When it returns the generator is not being called and will not be, save from a call further up this very stack.
  void close();

  /// Asks for the connection's consumer and adds it to the transport; closes it where there is none.
  void admit(Socket connection);

 private:
  void handOver(Socket connection, Consumer& consumer);
  bool beginAsking();
  void endAsking() noexcept;

  const std::shared_ptr<TransportCore> core_;
  ConsumerGenerator* const generator_;
  const std::string name_;

  std::mutex mutex_;  // guards the members below
  std::condition_variable asked_;
  bool open_ = false;
  bool asking_ = false;
};

}  // namespace tovik
