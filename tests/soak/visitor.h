#pragma once

#include <tovik/ftp_bridge/ftp_bridge.h>

#include <functional>
#include <string>
#include <vector>

#include "support/null_client.h"
#include "support/waiting.h"

namespace soak {

/// One session with the server, driven from outside one step at a time; a step is one command or many.
///
/// Threads: one owner.
/// Errors:  std::runtime_error when something fails, or has not come within the deadline.
class Visitor : private testing_support::NullClient {
 public:
  Visitor(const tovik::Address& server, const std::string& dispatcher);
  Visitor(const Visitor&) = delete;
  Visitor& operator=(const Visitor&) = delete;
  ~Visitor() override;

  void logIn();
  /// Calls something inside the callback: on the worker, where the session is in the same state each time.
  void askForDirectory(std::function<void()> inside);
  /// Retrieves a file over and over, and compares what came each time.
  void retrieve(const std::string& name, const std::string& content, long times, bool passive);
  void logOut();

 private:
  struct Progress {
    bool connected = false;
    bool disconnected = false;
    long directories = 0;
    long files = 0;
    std::string failure;
  };

  template <class Condition>
  void await(const char* what, Condition&& condition);
  void fail(const std::string& what);
  void next();

  void onConnected() override;
  void onDisconnected() override;
  void onPwd(const std::string& directory) override;
  void onRetrieve(const std::string& fileName, const std::string& text, std::string* content) override;
  void onOther(const char* callback, const std::string& text) override;

  testing_support::Awaited<Progress> progress_;
  // Written before the first command of a step, and used by the callbacks of the step.
  std::string name_;
  std::string content_;
  std::function<void()> inside_;
  long left_ = 0;
  bool passive_ = true;
  tovik::ftp::Controller controller_;
};

}  // namespace soak
