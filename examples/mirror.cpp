// Copies the files of a directory to a local one, and reconnects when the connection is lost: a new session continues
// with the files that are left. The pause before each session doubles as long as no file arrives.

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

/// The files left to fetch. Used by the callbacks while a session runs, and by the main thread between sessions.
struct Work {
  const std::string directory;
  const std::filesystem::path into;
  std::deque<std::string> left{};
  bool listed = false, done = false, allStored = true;
};

class Session : public tovik::ftp::FileRetriever {
 public:
  Session(const tovik::ftp::connection_data_t& connection, Work& work)
      : FileRetriever(true), work_(work), session_(connection, this, "ftp", 10, nullptr) {
    setController(&session_);
  }

  /// Returns when the session has ended, or after a minute without an event, since a refused login is not reported.
  void run() {
    if (!session_.start()) return;
    pollfd events{events_.number(), POLLIN, 0};
    for (eventfd_t count = 0; !ended_ && ::poll(&events, 1, 60'000) != 0;) ::eventfd_read(events_.number(), &count);
  }

  void onConnected() override { static_cast<void>(controller->changeCwd(work_.directory)); }
  void onCwd(const std::string& /*text*/) override {
    if (work_.listed) return next("");
    static_cast<void>(controller->getNlst(passive));
  }
  void onCwdFailed(const std::string& text) override {
    work_.left.clear();
    next(work_.directory + ": " + text);
  }
  void onNlst(const std::vector<std::string>& names, const std::string& /*text*/) override {
    std::copy_if(names.begin(), names.end(), std::back_inserter(work_.left), isPlain);
    work_.listed = true;
    next("");
  }
  void onNlstFailed(const std::string& text) override { next(work_.directory + ": " + text); }
  void onRetrieve(const std::string& name, const std::string& /*text*/, std::string* content) override {
    const bool stored = store(name, std::unique_ptr<std::string>(content));
    work_.left.pop_front();
    next(stored ? "" : name + ": can't store the file");
  }
  /// The server has refused the file, for example because it is a directory. Only files for which no reply came are
  /// tried again.
  void onRetrieveFailed(const std::string& name, const std::string& text) override {
    work_.left.pop_front();
    next(name + ": " + text);
  }
  void onDisconnected() override {
    ended_ = true;
    ::eventfd_write(events_.number(), 1);
  }

 private:
  /// The server chooses the names: a name must not lead out of the directory or contain a second command.
  static bool isPlain(const std::string& name) {
    return name != "." && name != ".." && name.find_first_of(std::string("/\r\n\0", 4)) == std::string::npos;
  }
  /// Starts the next step. problem: the error of the last one, or empty.
  void next(const std::string& problem) {
    ::eventfd_write(events_.number(), 1);
    if (!problem.empty()) std::cerr << problem << '\n', work_.allStored = false;
    if (!work_.left.empty()) return static_cast<void>(controller->getFile(work_.left.front(), passive));
    work_.done = true;
    static_cast<void>(controller->sendLogout());
  }

  /// A file appears under its name only when it is complete.
  bool store(const std::string& name, const std::unique_ptr<std::string>& content) const {
    const auto part = work_.into / ".mirror-part";
    const std::string_view bytes = content == nullptr ? "" : std::string_view(*content);
    if (!(std::ofstream(part, std::ios::binary) << bytes).flush()) return false;
    return std::rename(part.c_str(), (work_.into / name).c_str()) == 0;
  }

  Work& work_;
  const tovik::Descriptor events_{::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)};
  std::atomic<bool> ended_ = false;
  tovik::ftp::Controller session_;  // last member: it makes callbacks until it is destroyed
};

int main(int argc, char** argv) {
  if (argc != 8) return std::cerr << "usage: mirror HOST-IP PORT USER PASSWORD DIRECTORY INTO TRIES\n", 2;
  tovik::Address server(static_cast<unsigned short>(std::atoi(argv[2])));
  if (!server.set_host(argv[1])) return std::cerr << argv[1] << " is not an address\n", 2;
  const tovik::ftp::connection_data_t connection{server, tovik::Address(), argv[3], argv[4], {}};
  if (!tovik::DispatchStore::inst().add("ftp", 1)) return 1;
  Work work{argv[5], argv[6]};
  for (int failures = 0; failures < std::atoi(argv[7]); ++failures) {
    // A host with an event loop would use a timer.
    if (failures > 0) ::poll(nullptr, 0, std::min(250 << std::min(failures, 10), 30'000));
    const std::size_t before = work.left.size();
    Session(connection, work).run();
    if (work.done) return work.allStored ? 0 : 1;
    std::cerr << "connection lost; " << work.left.size() << " files left\n";
    if (work.left.size() != before) failures = 0;
  }
  return 1;
}
