#include "real_server.h"

#include <chrono>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <utility>

#include "support/control_connection.h"
#include "support/waiting.h"

namespace test_servers {
namespace fs = std::filesystem;

namespace {

constexpr std::chrono::milliseconds betweenTries{10};
constexpr int portsToTry = 5;

/// Below those that the kernel gives to whoever asks for any: nobody but another server takes it.
std::uint16_t randomPort() {
  std::random_device device;
  return std::uniform_int_distribution<std::uint16_t>(20000, 32767)(device);
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
  for (int tries = 0; port_ == 0 && tries < portsToTry; ++tries)
    if (const auto port = randomPort(); startOn(port)) port_ = port;
  if (port_ == 0)
    throw std::runtime_error(program.string() + " does not come up: " + greeting_ + textOf(pathOf("output")));
}

bool RealServer::startOn(std::uint16_t port) {
  process_.reset();
  process_ = std::make_unique<ServerProcess>(prepare(port), pathOf("output"));
  const auto end = std::chrono::steady_clock::now() + testing_support::deadline;
  while (!greets(port) && std::chrono::steady_clock::now() < end)
    if (process_->endsWithin(betweenTries)) break;
  return greeting_.find(mark()) != std::string::npos;
}

bool RealServer::greets(std::uint16_t port) try {
  greeting_ = testing_support::ControlConnection(testing_support::loopback(port, host_)).greeting();
  return !greeting_.empty();
} catch (const std::exception&) {
  return false;
}

}  // namespace test_servers
