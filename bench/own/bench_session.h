#pragma once

#include <tovik/ftp_bridge/ftp_bridge.h>

#include <memory>
#include <string>

#include "job.h"

namespace bench::own {

class Session;

/// Told of everything that happens in its sessions, on their worker.
class SessionOwner {
 public:
  virtual ~SessionOwner() = default;
  /// Logged in.
  virtual void onReady(Session& session) = 0;
  /// The job's file has arrived; what arrived has the right size.
  virtual void onFile(Session& session) = 0;
  /// Logged out. The session may be destroyed from here.
  virtual void onLeft(Session& session) = 0;
  /// The run can't go on. May come more than once, also while sessions are destroyed.
  virtual void onFailed(const std::string& text) = 0;
};

/// One session of the library under test, as a host would have it.
class Session final : public tovik::ftp::FTPclient {
 public:
  /// Borrows both. The number tells the owner which session it is.
  Session(const Job& job, SessionOwner& owner, unsigned long number);

  unsigned long number() const { return number_; }
  void start() { require(controller_.start()); }
  void retrieve() { require(controller_.getFile(job_.file, !job_.active)); }
  void leave();

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
  std::unique_ptr<std::string> content_;  // of the last file, until the next one has come
  bool leaving_ = false;
  tovik::ftp::Controller controller_;
};

}  // namespace bench::own
