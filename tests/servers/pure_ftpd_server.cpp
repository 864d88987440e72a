#include "pure_ftpd_server.h"

#include <stdexcept>

#include "support/waiting.h"
#include "virtual_account.h"

namespace test_servers {

PureFtpdServer::PureFtpdServer(const std::filesystem::path& root) : RealServer("pure-ftpd", root, virtualAccount()) {
  makeUserDatabase();
  start(installed("pure-ftpd/usr/sbin/pure-ftpd"));
}

void PureFtpdServer::makeUserDatabase() const {
  const auto program = installed("pure-ftpd/usr/bin/pure-pw");
  if (!std::filesystem::exists(program)) return;
  // The dot confines the session to its home; the empty fields are limits.
  const auto users = writeSecret("users", virtualAccountLine(root().string() + "/./") + "::::::::::::\n");
  const ServerProcess maker({program, "mkdb", pathOf("users.pdb"), "-f", users}, pathOf("output"));
  if (!maker.endsWithin(testing_support::deadline)) throw std::runtime_error(program.string() + " does not end");
}

std::vector<std::string> PureFtpdServer::prepare(std::uint16_t port) const {
  return {installed("pure-ftpd/usr/sbin/pure-ftpd"),
          "--ipv4only",
          "--bind=" + host() + "," + std::to_string(port),
          "--login=puredb:" + pathOf("users.pdb"),
          "--noanonymous",
          "--dontresolve",
          "--minuid=1",
          "--maxclientsnumber=1000",
          "--fortunesfile=" + write("greeting", mark() + "\n"),
          "--pidfile=" + pathOf("pid")};
}

}  // namespace test_servers
