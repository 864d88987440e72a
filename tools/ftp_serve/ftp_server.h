#pragma once

#include <tovik/address.h>
#include <tovik/result.h>

#include <memory>
#include <string>
#include <vector>

#include "ftp_serve/service.h"
#include "ftp_serve/shard.h"

namespace ftp_serve {

struct Options {
  std::string root;
  /// Port 0 means any free port.
  tovik::Address listen;
  /// If empty, anybody may log in.
  std::string user;
  std::string password;
  unsigned workers = 1;
};

/// A read-only FTP server for one directory tree.
///
/// Threads: start, stop and the destructor by one thread. The sessions run on threads of the server.
class FtpServer {
 public:
  explicit FtpServer(Options options);
  FtpServer(const FtpServer&) = delete;
  FtpServer& operator=(const FtpServer&) = delete;
  ~FtpServer();

  /// On success the server is listening when start returns. To be called once.
  tovik::Result start();
  /// The address that the server listens on.
  const tovik::Address& address() const { return address_; }
  unsigned short port() const { return address_.port(); }
  /// Ends every session. Does nothing if the server is not running.
  void stop();

 private:
  tovik::Result openShards();

  const Options options_;
  const std::string dispatcherName_;
  Service service_;
  tovik::Address address_;
  std::vector<std::unique_ptr<Shard>> shards_;
};

}  // namespace ftp_serve
