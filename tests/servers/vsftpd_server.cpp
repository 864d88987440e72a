#include "vsftpd_server.h"

#include <unistd.h>

#include <sstream>

namespace test_servers {
namespace fs = std::filesystem;

fs::path VsftpdServer::installed() { return RealServer::installed("vsftpd/usr/sbin/vsftpd"); }

VsftpdServer::VsftpdServer(const fs::path& root, const fs::path& program)
    : RealServer("vsftpd", root, {"anonymous", "tester@example.org"}), program_(program) {
  start(program_);
}

std::vector<std::string> VsftpdServer::prepare(std::uint16_t port) const {
  const auto empty = pathOf("empty");
  fs::create_directory(empty);
  std::ostringstream text;
  text << "listen=YES\nlisten_ipv6=NO\nbackground=NO\n"
       << "listen_address=" << host() << "\nlisten_port=" << port << "\npasv_address=" << host() << '\n'
       << "pasv_enable=YES\nport_enable=YES\nconnect_from_port_20=NO\n"
       << "anonymous_enable=YES\nlocal_enable=NO\nwrite_enable=NO\n"
       << "anon_root=" << root().string() << "\nftpd_banner=" << mark() << '\n'
       << "ftp_username=daemon\nrun_as_launching_user=" << (geteuid() == 0 ? "NO\n" : "YES\n")
       << "ascii_download_enable=NO\nmax_clients=0\nmax_per_ip=0\nxferlog_enable=NO\nsession_support=NO\n"
       << "secure_chroot_dir=" << empty
       << '\n'
       // The sandbox and the name spaces need a kernel that lets them be; containers often don't.
       << "seccomp_sandbox=NO\nisolate=NO\nisolate_network=NO\n";
  return {program_, write("vsftpd.conf", text.str())};
}

}  // namespace test_servers
