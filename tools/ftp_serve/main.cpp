#include <qk/logging/logging.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <csignal>
#include <iostream>
#include <memory>

#include "command_line/help.h"
#include "ftp_serve/ftp_server.h"

namespace {

constexpr unsigned short defaultPort = 2121;

/// Parses ADDRESS[:PORT], where ADDRESS is an IPv4 address.
std::optional<tovik::Address> parseAddress(const std::string& text) {
  const auto colon = std::min(text.find(':'), text.size());
  unsigned short port = defaultPort;
  const char* const end = text.data() + text.size();
  if (colon < text.size()) {
    const auto [rest, error] = std::from_chars(text.data() + colon + 1, end, port);
    if (error != std::errc() || rest != end) return std::nullopt;
  }
  tovik::Address address(port);
  if (!address.set_host(text.substr(0, colon))) return std::nullopt;
  return address;
}

std::string checkAddress(const std::string& text) {
  return parseAddress(text) ? std::string() : text + " is not an address such as 127.0.0.1:2121";
}

/// Blocks the signals in every thread, so that the main thread can wait for them.
sigset_t blockEndSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

int serve(ftp_serve::Options options) {
  const sigset_t endSignals = blockEndSignals();
  ftp_serve::FtpServer server(std::move(options));
  if (const tovik::Result started = server.start(); !started) {
    std::cerr << "ftp_serve: " << started.message << '\n';
    return 1;
  }
  std::cout << "listening on " << server.address() << std::endl;
  int received = 0;
  sigwait(&endSignals, &received);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Serves the files of one directory tree over FTP, read-only, until SIGINT or SIGTERM.", "ftp_serve");
  app.formatter(std::make_shared<command_line::Help>());
  app.set_version_flag("--version", "ftp_serve " VERSION);
  ftp_serve::Options options;
  std::string listen = "127.0.0.1:" + std::to_string(defaultPort);
  bool trace = false;
  app.add_option("ROOT", options.root, "The directory to serve")
      ->required()
      ->check(CLI::ExistingDirectory.description(""))
      ->type_name("DIRECTORY");
  app.add_option("--listen", listen, "ADDRESS[:PORT] to listen on; port 0 means any free port")
      ->check(checkAddress)
      ->type_name("ADDRESS")
      ->capture_default_str();
  auto* const user =
      app.add_option("--user", options.user, "The only user who may log in; by default anybody may")->type_name("NAME");
  auto* const password = app.add_option("--password", options.password, "That user's password");
  user->needs(password);
  password->needs(user);
  app.add_option("--workers", options.workers, "Number of worker threads, 1 to 64")
      ->check(CLI::Range(1, 64).description(""))
      ->type_name("COUNT")
      ->capture_default_str();
  app.add_flag("--trace", trace, "Log every command and reply to standard error, with the password masked");
  CLI11_PARSE(app, argc, argv);

  options.listen = *parseAddress(listen);
  if (trace) qk::logging::SetMinLogLevel(qk::logging::LogLevel::Trace);
  return serve(std::move(options));
}
