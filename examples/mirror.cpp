// Mirrors one directory into a local one, and keeps going when the connection is lost: a session that has ended is not
// begun again, a new one takes up what is left. The pause before it doubles for as long as nothing arrives.

#include <poll.h>
#include <sys/eventfd.h>
#include <tovik/descriptor.h>
#include <tovik/dispatch_store.h>
#include <tovik/ftp_bridge/ftp_bridge.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>

/// What there is to do. The callbacks of a session have it to themselves, and the main thread between two sessions.
struct Work {
  const std::string directory;
  const std::filesystem::path into;
  std::deque<std::string> left{};
  bool listed = false, done = false, allWell = true;
};

class Session : public tovik::ftp::FileRetriever {
 public:
  Session(const tovik::ftp::connection_data_t& connection, Work& work)
      : FileRetriever(true), work_(work), session_(connection, this, "ftp", 10, nullptr) {
    setController(&session_);
  }

  /// Until the session is over, or nothing has happened for a minute: no callback tells of a refused login.
  void run() {
    if (!session_.start()) return;
    pollfd news{news_.number(), POLLIN, 0};
    for (eventfd_t count = 0; !over_ && ::poll(&news, 1, 60'000) != 0;) ::eventfd_read(news_.number(), &count);
  }

  void onConnected() override { static_cast<void>(controller->changeCwd(work_.directory)); }
  void onCwd(const std::string& /*text*/) override {
    if (work_.listed) return goOn("");
    static_cast<void>(controller->getNlst(passive));
  }
  void onCwdFailed(const std::string& text) override {
    work_.left.clear();
    goOn(work_.directory + ": " + text);
  }
  void onNlst(const std::vector<std::string>& names, const std::string& /*text*/) override {
    std::copy_if(names.begin(), names.end(), std::back_inserter(work_.left), isPlain);
    work_.listed = true;
    goOn("");
  }
  void onNlstFailed(const std::string& text) override { goOn(work_.directory + ": " + text); }
  void onRetrieve(const std::string& name, const std::string& /*text*/, std::string* content) override {
    const bool stored = store(name, std::unique_ptr<std::string>(content));
    work_.left.pop_front();
    goOn(stored ? "" : name + " can't be stored");
  }
  /// The server has spoken (the name is a directory's, say): only what ends without a word is worth another try.
  void onRetrieveFailed(const std::string& name, const std::string& text) override {
    work_.left.pop_front();
    goOn(name + ": " + text);
  }
  void onDisconnected() override {
    over_ = true;
    ::eventfd_write(news_.number(), 1);
  }

 private:
  /// A name is the server's choice: it must not lead out of the directory, nor be two commands.
  static bool isPlain(const std::string& name) {
    return name != "." && name != ".." && name.find_first_of(std::string("/\r\n\0", 4)) == std::string::npos;
  }
  /// Begins the next step; problem: what was wrong with the last one, if anything.
  void goOn(const std::string& problem) {
    ::eventfd_write(news_.number(), 1);
    if (!problem.empty()) std::cerr << problem << '\n', work_.allWell = false;
    if (!work_.left.empty()) return static_cast<void>(controller->getFile(work_.left.front(), passive));
    work_.done = true;
    static_cast<void>(controller->sendLogout());
  }

  /// A file stands under its name only when it is whole.
  bool store(const std::string& name, const std::unique_ptr<std::string>& content) const {
    const auto part = work_.into / ".mirror-part";
    const std::string_view bytes = content == nullptr ? "" : std::string_view(*content);
    if (!(std::ofstream(part, std::ios::binary) << bytes).flush()) return false;
    return std::rename(part.c_str(), (work_.into / name).c_str()) == 0;
  }

  Work& work_;
  const tovik::Descriptor news_{::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)};
  std::atomic<bool> over_ = false;
  tovik::ftp::Controller session_;  // last: it calls back until it is gone
};

int main(int argc, char** argv) {
  if (argc != 8) return std::cerr << "usage: mirror HOST-IP PORT USER PASSWORD DIRECTORY INTO TRIES\n", 2;
  tovik::Address server(static_cast<unsigned short>(std::atoi(argv[2])));
  if (!server.set_host(argv[1])) return std::cerr << argv[1] << " is not an address\n", 2;
  const tovik::ftp::connection_data_t connection{server, tovik::Address(), argv[3], argv[4], {}};
  if (!tovik::DispatchStore::inst().add("ftp", 1)) return 1;
  Work work{argv[5], argv[6]};
  for (int inVain = 0; inVain < std::atoi(argv[7]); ++inVain) {
    // A host with an event loop has the pause for its poll's timeout.
    if (inVain > 0) ::poll(nullptr, 0, std::min(250 << std::min(inVain, 10), 30'000));
    const std::size_t before = work.left.size();
    Session(connection, work).run();
    if (work.done) return work.allWell ? 0 : 1;
    std::cerr << "the connection is lost; " << work.left.size() << " files are left\n";
    if (work.left.size() != before) inVain = 0;
  }
  return 1;
}
