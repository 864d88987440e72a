#pragma once

#include <tovik/ftp_bridge/ftp_bridge.h>

#include <memory>
#include <string>

#include "job.h"

namespace bench::own {

class BenchSession;

/// Receives the events of its sessions, on their worker.
class SessionOwner {
 public:
  virtual ~SessionOwner() = default;
  /// The session has logged in.
  virtual void onReady(BenchSession& session) = 0;
  /// The job's file has arrived, with the right size.
  virtual void onFile(BenchSession& session) = 0;
  /// The session has logged out. It may be destroyed in this call.
  virtual void onLoggedOut(BenchSession& session) = 0;
  /// The run has failed. May be called more than once, also while sessions are being destroyed.
  virtual void onFailed(const std::string& text) = 0;
};

/// One session of the library, used as in a host.
class BenchSession final : public tovik::ftp::FTPclient {
 public:
  /// Borrows job and owner. The number identifies the session.
  BenchSession(const Job& job, SessionOwner& owner, unsigned long number);

  unsigned long number() const { return number_; }
  void start() { require(controller_.start()); }
  void retrieve() { require(controller_.getFile(job_.file, !job_.active)); }
  void logOut();

  void onConnected() override { owner_.onReady(*this); }
  void onDisconnected() override;
  void onRetrieve(const std::string& name, const std::string& text, std::string* content) override;
  void onRetrieveFailed(const std::string& name, const std::string& text) override;

  void onPwd(const std::string& /*directory*/) override {}
  void onPwdFailed(const std::string& /*text*/) override {}
  void onCwd(const std::string& /*text*/) override {}
  void onCwdFailed(const std::string& /*text*/) override {}
  void onCdup(const std::string& /*text*/) override {}
  void onCdupFailed(const std::string& /*text*/) override {}
  void onNlst(const std::vector<std::string>& /*names*/, const std::string& /*text*/) override {}
  void onNlstFailed(const std::string& /*text*/) override {}

 private:
  void require(const tovik::Result& result);

  const Job& job_;
  SessionOwner& owner_;
  const unsigned long number_;
  std::unique_ptr<std::string> content_;  // of the last file, until the next one has arrived
  bool loggingOut_ = false;
  tovik::ftp::Controller controller_;
};

}  // namespace bench::own
