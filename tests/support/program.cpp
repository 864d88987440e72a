#include "support/program.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <poll.h>
#include <pty.h>
#include <spawn.h>
#include <sys/vfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "support/waiting.h"

namespace testing_support {

namespace {

constexpr int outlivedDeadline = 2000;

std::vector<char*> pointers(const Program::Arguments& texts) {
  std::vector<char*> all;
  for (const auto& text : texts) all.push_back(const_cast<char*>(text.c_str()));
  return all;
}

std::pair<tovik::Descriptor, tovik::Descriptor> makePipe() {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error(std::string("pipe: ") + std::strerror(errno));
  return {tovik::Descriptor(ends[0]), tovik::Descriptor(ends[1])};
}

/// Waits for input on any of the descriptors; false when the deadline passes.
template <std::size_t count>
bool waitForAny(std::array<pollfd, count>& descriptors) {
  const auto limit = std::chrono::duration_cast<std::chrono::milliseconds>(deadline);
  return ::poll(descriptors.data(), descriptors.size(), static_cast<int>(limit.count())) > 0;
}

/// Appends what has come; closes the descriptor at its end.
void take(tovik::Descriptor& from, std::string& to) {
  std::array<char, 4096> bytes{};
  const ssize_t count = ::read(from.number(), bytes.data(), bytes.size());
  if (count > 0)
    to.append(bytes.data(), static_cast<std::size_t>(count));
  else
    from.close();
}

int waitForExit(pid_t& process) {
  int status = 0;
  ::waitpid(std::exchange(process, -1), &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

void killAndReap(pid_t& process) {
  if (process < 0) return;
  ::kill(process, SIGKILL);
  waitForExit(process);
}

}  // namespace

Program::Program(const Arguments& arguments, const Arguments& environment) {
  auto [output, outputEnd] = makePipe();
  auto [errors, errorEnd] = makePipe();
  outputPipe_ = std::move(output);
  errorPipe_ = std::move(errors);
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  ::posix_spawn_file_actions_adddup2(&actions, outputEnd.number(), STDOUT_FILENO);
  ::posix_spawn_file_actions_adddup2(&actions, errorEnd.number(), STDERR_FILENO);
  auto argv = pointers(arguments);
  argv.push_back(nullptr);
  auto variables = pointers(environment);
  for (char** variable = environ; *variable != nullptr; ++variable) variables.push_back(*variable);
  variables.push_back(nullptr);
  // A session of its own: no controlling terminal, whatever this process has.
  posix_spawnattr_t attributes;
  ::posix_spawnattr_init(&attributes);
  ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
  const int error = ::posix_spawnp(&process_, argv[0], &actions, &attributes, argv.data(), variables.data());
  ::posix_spawnattr_destroy(&attributes);
  ::posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw std::runtime_error(arguments[0] + ": " + std::strerror(error));
}

Program::~Program() { killAndReap(process_); }

void Program::signal(int number) const { ::kill(process_, number); }

std::string Program::firstLine() { return firstLineOf(output_); }

std::string Program::firstErrorLine() { return firstLineOf(errors_); }

std::string Program::firstLineOf(const std::string& text) {
  while (text.find('\n') == std::string::npos && gather()) {
  }
  return text.substr(0, text.find('\n'));
}

int Program::wait() {
  while (outputPipe_.isOpen() || errorPipe_.isOpen())
    if (!gather()) return outlivedDeadline;
  return waitForExit(process_);
}

bool Program::gather() {
  // poll passes over negative descriptors.
  std::array<pollfd, 2> descriptors{{{outputPipe_.number(), POLLIN, 0}, {errorPipe_.number(), POLLIN, 0}}};
  if (!waitForAny(descriptors)) return false;
  if (descriptors[0].revents != 0) take(outputPipe_, output_);
  if (descriptors[1].revents != 0) take(errorPipe_, errors_);
  return true;
}

const char* TerminalProgram::missing() {
  struct statfs system {};
  const bool mounted = ::statfs("/dev/pts", &system) == 0 && system.f_type == DEVPTS_SUPER_MAGIC;
  return mounted ? nullptr : "there are no terminals here: no devpts is mounted on /dev/pts";
}

TerminalProgram::TerminalProgram(const Program::Arguments& arguments, unsigned short columns) {
  auto argv = pointers(arguments);
  argv.push_back(nullptr);
  winsize size{};
  size.ws_col = columns;
  size.ws_row = 24;
  int terminal = -1;
  process_ = ::forkpty(&terminal, nullptr, nullptr, &size);
  if (process_ == 0) {
    ::execv(argv[0], argv.data());
    ::_exit(127);
  }
  if (process_ < 0) throw std::runtime_error(std::string("forkpty: ") + std::strerror(errno));
  terminal_ = tovik::Descriptor(terminal);
}

TerminalProgram::~TerminalProgram() { killAndReap(process_); }

void TerminalProgram::type(const std::string& text) const {
  if (::write(terminal_.number(), text.data(), text.size()) != static_cast<ssize_t>(text.size()))
    throw std::runtime_error("the terminal takes no input");
}

bool TerminalProgram::showsUntil(const std::string& text) {
  while (shown_.find(text) == std::string::npos)
    if (!gather()) return false;
  return true;
}

int TerminalProgram::wait() {
  while (terminal_.isOpen())
    if (!gather() && terminal_.isOpen()) return outlivedDeadline;
  return waitForExit(process_);
}

/// False at the deadline, and at the end.
bool TerminalProgram::gather() {
  if (!terminal_.isOpen()) return false;
  std::array<pollfd, 1> descriptors{{{terminal_.number(), POLLIN, 0}}};
  if (!waitForAny(descriptors)) return false;
  take(terminal_, shown_);
  return terminal_.isOpen();
}

Finished finish(const Program::Arguments& arguments, const Program::Arguments& environment) {
  Program program(arguments, environment);
  const int exitCode = program.wait();
  return {exitCode, program.output(), program.errors()};
}

}  // namespace testing_support
