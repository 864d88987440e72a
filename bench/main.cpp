#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>
#include <map>
#include <string>

#include "memory.h"
#include "works.h"

namespace {

using Work = bench::Figures (*)(const bench::Job& job);

const std::map<std::string, Work>& works() {
  static const std::map<std::string, Work> all{
      {"own-files", bench::own::files},
      {"own-swarm", bench::own::swarm},
      {"own-logins", bench::own::logins},
      {"own-idle", bench::own::idle},
      {"bare-files", bench::peers::bareFiles},
      {"limit-files", bench::peers::limitFiles},
      {"discard-files", bench::peers::discardFiles},
      {"curl-files", bench::peers::curlFiles},
      {"curl-swarm", bench::peers::curlSwarm},
      {"curl-logins", bench::peers::curlLogins},
  };
  return all;
}

int run(const std::string& work, const bench::Job& job) try {
  bench::Figures figures = works().at(work)(job);
  figures.add("peak_bytes", bench::peakResidentBytes()).print(std::cout);
  return 0;
} catch (const std::exception& error) {
  std::cerr << "ftp_bench: " << work << ": " << error.what() << '\n';
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Runs one benchmark against an FTP server on this host, and prints the results as JSON.");
  std::string work;
  bench::Job job;
  app.add_option("WORK", work, "The benchmark to run")->required()->check(CLI::IsMember(works()));
  app.add_option("--port", job.port, "The server's port on 127.0.0.1")->required();
  app.add_option("--file", job.file, "The file to retrieve");
  app.add_option("--size", job.size, "Its size in bytes");
  app.add_option("--count", job.count, "Retrievals in each session")->capture_default_str();
  app.add_option("--sessions", job.sessions, "Number of sessions")->capture_default_str();
  app.add_option("--at-once", job.maxLogins, "Limit of sessions that log in at the same time")->capture_default_str();
  app.add_option("--curl-buffer", job.curlBuffer, "libcurl's receive buffer in bytes; 0: its default");
  app.add_flag("--active", job.active, "Active data connections, for own-files and bare-files");
  CLI11_PARSE(app, argc, argv);
  return run(work, job);
}
