#include "real_server.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>
#include <utility>

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

RealServer::RealServer(std::string name, const fs::path& root, Account account)
    : name_(std::move(name)), root_(root), account_(std::move(account)) {}

RealServer::~RealServer() = default;

fs::path RealServer::installed(const std::string& path) { return fs::path(TEST_SERVERS_DIR) / path; }

std::string RealServer::write(const std::string& file, const std::string& text) const {
  const auto path = pathOf(file);
  std::ofstream output(path);
  output << text;
  output.flush();
  if (!output) throw std::runtime_error("cannot write " + path);
  fs::permissions(path,
                  fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read | fs::perms::others_read);
  return path;
}

std::string RealServer::writeSecret(const std::string& file, const std::string& text) const {
  const auto path = write(file, text);
  fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write);
  return path;
}

void RealServer::start(const fs::path& program) {
  if (!fs::exists(program)) throw std::runtime_error("no " + program.string() + ": run scripts/setup --tests");
  // A free port may be taken by somebody else before the server gets there.
  for (int tries = 0; port_ == 0 && tries < portsToTry; ++tries)
    if (const auto port = freePort(); startOn(port)) port_ = port;
  if (port_ == 0)
    throw std::runtime_error(program.string() + " does not come up: " + greeting_ + textOf(pathOf("output")));
}

bool RealServer::startOn(std::uint16_t port) {
  process_.reset();
  process_ = std::make_unique<ServerProcess>(prepare(port), pathOf("output"));
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (!greets(port) && std::chrono::steady_clock::now() < deadline)
    if (process_->endsWithin(betweenTries)) break;
  return greeting_.find(mark()) != std::string::npos;
}

bool RealServer::greets(std::uint16_t port) try {
  greeting_.clear();
  greeting_ = ControlConnection(host_, port).readLine();
  return true;
} catch (const std::exception&) {
  return false;
}

}  // namespace test_servers
