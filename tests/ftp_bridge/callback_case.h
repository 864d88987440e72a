#pragma once

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

#include "session_fixture.h"

namespace tovik::ftp {

/// What leads to a callback: the client's command, and the server's part.
struct CallbackCase {
  std::string callback;
  std::function<void(Controller&)> command;
  std::function<void(ScriptedServer&)> answer;
};

void PrintTo(const CallbackCase& callbackCase, std::ostream* out);

/// Quiet replies of a server that is asked for nothing.
void silence(ScriptedServer& server);

/// One for each callback.
std::vector<CallbackCase> callbackCases();

/// Does something inside a callback, the first time.
class InsideCallback : public Session {
 protected:
  void doInside(const CallbackCase& callbackCase, const std::function<void()>& act) {
    client.onConnectedDo([this, callbackCase] { callbackCase.command(*controller); });
    client.whenever(callbackCase.callback, [this, callbackCase, act] {
      if (std::exchange(done_, true)) return;
      act();
    });
    server.login();
    callbackCase.answer(server);
    start();
  }

  static bool hasConnection(const CallbackCase& callbackCase) { return callbackCase.callback != "onDisconnected"; }

 private:
  bool done_ = false;
};

}  // namespace tovik::ftp
