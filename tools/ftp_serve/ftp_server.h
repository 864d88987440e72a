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
  /// Port 0: any free one.
  tovik::Address listen;
  /// Empty: anybody may log in.
  std::string user;
  std::string password;
  unsigned workers = 1;
};

/// A read-only FTP server for one directory tree.
///
/// Threads: start, stop and the destructor by one owner; it works on threads of its own meanwhile.
class FtpServer {
 public:
  explicit FtpServer(Options options);
  FtpServer(const FtpServer&) = delete;
  FtpServer& operator=(const FtpServer&) = delete;
  ~FtpServer();

  /// Listens when it returns. Once.
  tovik::Result start();
  /// What it listens on.
  const tovik::Address& address() const { return address_; }
  unsigned short port() const { return address_.port(); }
  /// Ends every session. Does nothing when it does not run.
  void stop();

 private:
  tovik::Result openLanes();

  const Options options_;
  const std::string dispatcherName_;
  Service service_;
  tovik::Address address_;
  std::vector<std::unique_ptr<Lane>> lanes_;
};

}  // namespace ftp_serve
