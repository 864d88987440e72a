#pragma once

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

#include "session.h"

namespace tovik::ftp {

/// How a callback is brought about: the client's command, and the server's part.
struct Occasion {
  std::string callback;
  std::function<void(Controller&)> command;
  std::function<void(ScriptedServer&)> answer;
};

void PrintTo(const Occasion& occasion, std::ostream* out);

/// Quiet replies of a server that is asked for nothing.
void silence(ScriptedServer& server);

/// One for each callback.
std::vector<Occasion> occasions();

/// Brings a callback about and does something inside it, the first time.
class Inside : public Session {
 protected:
  void doInside(const Occasion& occasion, const std::function<void()>& act) {
    client.onConnectedDo([this, occasion] { occasion.command(*controller); });
    client.whenever(occasion.callback, [this, occasion, act] {
      if (std::exchange(done_, true)) return;
      act();
    });
    server.login();
    occasion.answer(server);
    start();
  }

  static bool hasConnection(const Occasion& occasion) { return occasion.callback != "onDisconnected"; }

 private:
  bool done_ = false;
};

}  // namespace tovik::ftp
