#include "vsftpd_server.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include "control_connection.h"

namespace test_servers {
namespace fs = std::filesystem;

namespace {

constexpr std::chrono::seconds patience{30};
constexpr std::chrono::milliseconds betweenTries{10};
constexpr int portsToTry = 5;

std::uint16_t freePort() {
  const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const name = reinterpret_cast<sockaddr*>(&address);
  const bool found = socket >= 0 && bind(socket, name, size) == 0 && getsockname(socket, name, &size) == 0;
  const int error = errno;
  if (socket >= 0) close(socket);
  if (!found) throw std::system_error(error, std::generic_category(), "no free port");
  return ntohs(address.sin_port);
}

std::string textOf(const fs::path& file) {
  std::ifstream input(file);
  return {std::istreambuf_iterator<char>(input), {}};
}

}  // namespace

fs::path VsftpdServer::installed() { return TEST_SERVERS_DIR "/vsftpd/usr/sbin/vsftpd"; }

VsftpdServer::VsftpdServer(const fs::path& root, const fs::path& program) : root_(root), program_(program) {
  if (!fs::exists(program_)) throw std::runtime_error("no " + program_.string() + ": run scripts/setup --tests");
  // A free port may be taken by somebody else before the server gets there.
  for (int tries = 0; port_ == 0 && tries < portsToTry; ++tries)
    if (const auto port = freePort(); startOn(port)) port_ = port;
  if (port_ == 0) throw std::runtime_error(program_.string() + " does not come up: " + textOf(output()));
}

bool VsftpdServer::startOn(std::uint16_t port) {
  writeConfiguration(port);
  process_.reset();
  process_ =
      std::make_unique<ServerProcess>(std::vector<std::string>{program_.string(), configuration().string()}, output());
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (std::chrono::steady_clock::now() < deadline) {
    if (answersOn(port)) return true;
    if (process_->endsWithin(betweenTries)) return false;
  }
  return false;
}

void VsftpdServer::writeConfiguration(std::uint16_t port) const {
  const auto empty = directory_.path() / "empty";
  fs::create_directory(empty);
  std::ofstream file(configuration());
  file << "listen=YES\nlisten_ipv6=NO\nbackground=NO\n"
       << "listen_address=" << host_ << "\nlisten_port=" << port << "\npasv_address=" << host_ << '\n'
       << "pasv_enable=YES\nport_enable=YES\nconnect_from_port_20=NO\n"
       << "anonymous_enable=YES\nlocal_enable=NO\nwrite_enable=NO\n"
       << "anon_root=" << root_.string() << "\nftpd_banner=" << banner() << '\n'
       << (geteuid() == 0 ? "ftp_username=daemon\n" : "run_as_launching_user=YES\n")
       << "ascii_download_enable=NO\nmax_clients=0\nmax_per_ip=0\nxferlog_enable=NO\nsession_support=NO\n"
       << "secure_chroot_dir=" << empty.string() << '\n';
  // The sandbox and the name spaces need a kernel that lets them be; containers often don't.
  file << "seccomp_sandbox=NO\nisolate=NO\nisolate_network=NO\n";
  file.flush();
  if (!file) throw std::runtime_error("cannot write " + configuration().string());
}

// The banner tells this server from one that took the port in between.
bool VsftpdServer::answersOn(std::uint16_t port) const try {
  return ControlConnection(host_, port).readLine() == "220 " + banner();
} catch (const std::exception&) {
  return false;
}

}  // namespace test_servers
