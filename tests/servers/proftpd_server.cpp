#include "proftpd_server.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <sstream>
#include <stdexcept>

#include "virtual_account.h"

namespace test_servers {
namespace {

// Who starts it. To become somebody else would undo what ends the server with the test, however the test ends.
std::string sameAccount() {
  const auto* const user = getpwuid(geteuid());
  const auto* const group = getgrgid(getegid());
  if (user == nullptr || group == nullptr) throw std::runtime_error("this account has no name");
  return std::string("User ") + user->pw_name + "\nGroup " + group->gr_name + "\n";
}

}  // namespace

ProftpdServer::ProftpdServer(const std::filesystem::path& root, DefaultType type)
    : RealServer("proftpd-core", root, virtualAccount()), type_(type) {
  start(installed("proftpd-core/usr/sbin/proftpd"));
}

std::vector<std::string> ProftpdServer::prepare(std::uint16_t port) const {
  std::ostringstream text;
  text << "ServerType standalone\nServerName " << mark() << "\nServerIdent on \"" << mark() << "\"\n"
       << "DefaultAddress " << host() << "\nSocketBindTight on\nUseIPv6 off\nUseReverseDNS off\nPort " << port << '\n'
       << sameAccount() << "AuthOrder mod_auth_file.c\nAuthUserFile "
       << writeSecret("passwd", virtualAccountLine(root()) + ":/bin/false\n") << "\nAuthGroupFile "
       << writeSecret("group", "") << "\nRequireValidShell off\nUseFtpUsers off\n"
       << (geteuid() == 0 ? "DefaultRoot ~\n" : "") << "DefaultTransferMode "
       << (type_ == DefaultType::binary ? "binary" : "ascii") << '\n'
       << "ScoreboardFile " << pathOf("scoreboard") << "\nPidFile " << pathOf("pid")
       << '\n'
       // What it would otherwise keep in /run.
       << "ControlsEngine off\nControlsSocket " << pathOf("controls") << "\nDelayTable none\n"
       << "SystemLog none\nTransferLog none\nWtmpLog off\n";
  return {installed("proftpd-core/usr/sbin/proftpd"), "-n", "-c", write("proftpd.conf", text.str())};
}

}  // namespace test_servers
