#include "callback_case.h"

#include <ostream>

namespace tovik::ftp {

void PrintTo(const CallbackCase& callbackCase, std::ostream* out) { *out << callbackCase.callback; }

void silence(ScriptedServer& /*server*/) {}

std::vector<CallbackCase> callbackCases() {
  const auto none = [](Controller&) {};
  const auto pwd = [](Controller& controller) { EXPECT_TRUE(controller.getPwd()); };
  const auto cwd = [](Controller& controller) { EXPECT_TRUE(controller.changeCwd("a")); };
  const auto cdup = [](Controller& controller) { EXPECT_TRUE(controller.cdUp()); };
  const auto nlst = [](Controller& controller) { EXPECT_TRUE(controller.getNlst(passiveMode)); };
  const auto retr = [](Controller& controller) { EXPECT_TRUE(controller.getFile("a", activeMode)); };
  const auto refusesRetr = [](ScriptedServer& server) {
    server.active().expect("RETR a").reply("550 No").data("half").closeData();
  };
  return {
      {"onConnected", none, silence},
      {"onDisconnected", none, [](auto& server) { server.close(); }},
      {"onPwd", pwd, [](auto& server) { server.expect("PWD").reply("257 \"/\""); }},
      {"onPwdFailed", pwd, [](auto& server) { server.expect("PWD").reply("550 No"); }},
      {"onCwd", cwd, [](auto& server) { server.expect("CWD a").reply("250 Done"); }},
      {"onCwdFailed", cwd, [](auto& server) { server.expect("CWD a").reply("550 No"); }},
      {"onCdup", cdup, [](auto& server) { server.expect("CDUP").reply("200 Done"); }},
      {"onCdupFailed", cdup, [](auto& server) { server.expect("CDUP").reply("550 No"); }},
      {"onNlst", nlst, [](auto& server) { server.passive().expect("NLST").reply("226 Done").data("a").closeData(); }},
      {"onNlstFailed", nlst, [](auto& server) { server.passive().expect("NLST").reply("450 No").closeData(); }},
      {"onRetrieve", retr,
       [](auto& server) { server.active().expect("RETR a").reply("226 Done").data("x").closeData(); }},
      {"onRetrieveFailed", retr, refusesRetr},
  };
}

}  // namespace tovik::ftp
