#include "server_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "system_failure.h"

namespace test_servers {
namespace {

constexpr std::chrono::seconds grace{5};

struct Start {
  std::vector<char*> arguments;
  const char* output;
  pid_t parent;
};

bool redirectTo(const char* output) {
  const int file = open(output, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  // Standard input, too: a server made for a super-server reports its troubles there.
  return file >= 0 && dup2(file, 0) == 0 && dup2(file, 1) == 1 && dup2(file, 2) == 2;
}

// Between fork and exec the other threads are gone, with whatever they held locked: system calls only.
[[noreturn]] void become(const Start& start, int failure) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  // A parent that died before the line above is never told of.
  if (getppid() != start.parent) _exit(127);
  if (redirectTo(start.output)) execv(start.arguments.front(), start.arguments.data());
  const int error = errno;
  [[maybe_unused]] const auto told = write(failure, &error, sizeof error);
  _exit(127);
}

// The pipe closes by itself once the program runs, so a start that failed is known at once, with its reason.
pid_t startAndConfirm(const Start& start) {
  int failure[2];
  if (pipe2(failure, O_CLOEXEC) != 0) fail("pipe2", errno);
  const pid_t child = fork();
  if (child == 0) become(start, failure[1]);
  int error = child < 0 ? errno : 0;
  close(failure[1]);
  const bool failed = child < 0 || read(failure[0], &error, sizeof error) > 0;
  close(failure[0]);
  if (failed && child > 0) waitpid(child, nullptr, 0);
  if (failed) fail(std::string("cannot start ") + start.arguments.front(), error);
  return child;
}

pid_t startProgram(std::vector<std::string> arguments, const std::string& output) {
  Start start{{}, output.c_str(), getpid()};
  for (auto& argument : arguments) start.arguments.push_back(argument.data());
  start.arguments.push_back(nullptr);
  return startAndConfirm(start);
}

int openEndEvent(pid_t process) {
  // By number: the C library's own wrapper is younger than Debian 12's.
  const auto descriptor = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
  if (descriptor >= 0) return descriptor;
  const int error = errno;
  kill(process, SIGKILL);
  waitpid(process, nullptr, 0);
  fail("pidfd_open", error);
}

}  // namespace

ServerProcess::ServerProcess(const std::vector<std::string>& arguments, const std::filesystem::path& output)
    : id_(startProgram(arguments, output)), endEvent_(openEndEvent(id_)) {}

ServerProcess::~ServerProcess() {
  kill(id_, SIGTERM);
  if (!endsWithin(grace)) kill(id_, SIGKILL);
  waitpid(id_, nullptr, 0);
  close(endEvent_);
}

bool ServerProcess::endsWithin(std::chrono::milliseconds time) const {
  pollfd ended{endEvent_, POLLIN, 0};
  return poll(&ended, 1, static_cast<int>(time.count())) == 1;
}

}  // namespace test_servers
