// What becomes of the line ends of a text, which a session gets in the server's default type of transfer.

#include "servers/proftpd_server.h"
#include "servers/pyftpdlib_server.h"
#include "session_rig.h"

namespace real_servers {
namespace {

using test_servers::DefaultType;

template <class Server, DefaultType type>
std::unique_ptr<test_servers::RealServer> makeServer(const std::filesystem::path& root) {
  return std::make_unique<Server>(root, type);
}

struct Default {
  test_servers::ServerKind kind;
  std::string (*delivered)(std::string);
  bool straysAfterFiles;
};

template <class Server>
Default inAscii(const std::string& name) {
  return {{name + "InAscii", false, &makeServer<Server, DefaultType::ascii>}, &everyBareLineFeedAfterAReturn, false};
}

std::vector<Default> defaults() {
  std::vector<Default> all{inAscii<test_servers::ProftpdServer>("Proftpd"),
                           inAscii<test_servers::PyftpdlibServer>("Pyftpdlib")};
  for (const auto& peer : peers()) all.push_back({peer.kind, peer.delivered, peer.straysAfterFiles});
  return all;
}

void PrintTo(const Default& type, std::ostream* out) { *out << type.kind.name; }

class LineEnds : public WithServer, public testing::WithParamInterface<Default> {
 protected:
  void SetUp() override { startServer(GetParam().kind, GetParam().straysAfterFiles); }
};

INSTANTIATE_TEST_SUITE_P(Servers, LineEnds, testing::ValuesIn(defaults()),
                         [](const auto& type) { return type.param.kind.name; });

TEST_P(LineEnds, AreDeliveredAsTheServerIsSet) {
  const std::string text = "\none\ntwo\r\nthree\r\r\n\n";
  put("text", text);
  const auto session = makeSession(true);
  session->logIn();
  session->expectFile("text", GetParam().delivered(text));
  session->logOut();
}

}  // namespace
}  // namespace real_servers
