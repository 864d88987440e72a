// Listens on an address and runs a program for each connection, with the connection as its standard input, output and
// error: super_server HOST PORT PROGRAM [ARGUMENT]...

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr int backlog = 200;

bool listenOn(int listener, const char* host, const char* port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(std::atoi(port)));
  const int on = 1;
  return inet_pton(AF_INET, host, &address.sin_addr) == 1 &&
         setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
         bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
         listen(listener, backlog) == 0;
}

[[noreturn]] void serve(int connection, char** program) {
  // The program may want to know how its own children end.
  signal(SIGCHLD, SIG_DFL);
  for (int standard = 0; standard <= 2; ++standard) dup2(connection, standard);
  execv(program[0], program);
  std::perror(program[0]);
  _exit(127);
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 4) return EXIT_FAILURE;
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (!listenOn(listener, arguments[1], arguments[2])) {
    std::perror("super_server");
    return EXIT_FAILURE;
  }
  signal(SIGCHLD, SIG_IGN);
  for (;;) {
    const int connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0) continue;
    if (fork() == 0) serve(connection, arguments + 3);
    close(connection);
  }
}
