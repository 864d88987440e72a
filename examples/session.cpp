// The shortest useful host: logs in, prints the names in the server's directory, logs out. The whole dialogue, the
// password in it, goes to standard error.

#include <tovik/dispatch_store.h>
#include <tovik/ftp_bridge/ftp_bridge.h>

#include <chrono>
#include <cstdlib>
#include <future>
#include <iostream>

/// The stock client asks for the directory and lists it. This one leaves then, and says when it has, and whether it
/// has seen the names.
class Visitor : public tovik::ftp::FileRetriever {
 public:
  using FileRetriever::FileRetriever;

  void onNlst(const std::vector<std::string>& names, const std::string& /*text*/) override {
    for (const auto& name : names) std::cout << name << '\n';
    listed = true;
    leave();
  }
  void onPwdFailed(const std::string& /*text*/) override { leave(); }
  void onNlstFailed(const std::string& /*text*/) override { leave(); }
  void onDisconnected() override { left.set_value(listed); }

  std::promise<bool> left;

 private:
  void leave() { static_cast<void>(controller->sendLogout()); }

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
  Visitor visitor(true);
  tovik::ftp::Controller session(connection, &visitor, "ftp", 10, nullptr);
  visitor.setController(&session);
  if (const tovik::Result started = session.start(); !started) return std::cerr << started.message << '\n', 1;
  // A login that is refused is not reported, so a host sets itself a limit. Leaving the scope ends the session.
  std::future<bool> left = visitor.left.get_future();
  return left.wait_for(std::chrono::seconds(30)) == std::future_status::ready && left.get() ? 0 : 1;
}
