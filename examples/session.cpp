// The shortest useful host: logs in, prints the names in the server's directory, logs out. Logs every command and
// reply, the password included, to standard error.

#include <tovik/dispatch_store.h>
#include <tovik/ftp_bridge/ftp_bridge.h>

#include <chrono>
#include <cstdlib>
#include <future>
#include <iostream>

/// FileRetriever asks for the current directory and lists it. This client then logs out, and sets the future when the
/// session has ended: true if the listing arrived.
class Lister : public tovik::ftp::FileRetriever {
 public:
  using FileRetriever::FileRetriever;

  void onNlst(const std::vector<std::string>& names, const std::string& /*text*/) override {
    for (const auto& name : names) std::cout << name << '\n';
    listed = true;
    logOut();
  }
  void onPwdFailed(const std::string& /*text*/) override { logOut(); }
  void onNlstFailed(const std::string& /*text*/) override { logOut(); }
  void onDisconnected() override { ended.set_value(listed); }

  std::promise<bool> ended;

 private:
  void logOut() { static_cast<void>(controller->sendLogout()); }

  bool listed = false;
};

int main(int argc, char** argv) {
  if (argc != 5) return std::cerr << "usage: session HOST-IP PORT USER PASSWORD\n", 2;
  tovik::ftp::connection_data_t connection;
  connection.server.set_port(static_cast<unsigned short>(std::atoi(argv[2])));
  if (!connection.server.set_host(argv[1])) return std::cerr << argv[1] << " is not an address\n", 2;
  connection.user = argv[3];
  connection.password = argv[4];

  qk::logging::SetMinLogLevel(qk::logging::LogLevel::Trace);
  if (!tovik::DispatchStore::inst().add("ftp", 1)) return 1;
  Lister lister(true);
  tovik::ftp::Controller session(connection, &lister, "ftp", 10, nullptr);
  lister.setController(&session);
  if (const tovik::Result started = session.start(); !started) return std::cerr << started.message << '\n', 1;
  // A refused login is not reported, so the wait has a limit. The destructor ends the session.
  std::future<bool> ended = lister.ended.get_future();
  return ended.wait_for(std::chrono::seconds(30)) == std::future_status::ready && ended.get() ? 0 : 1;
}
