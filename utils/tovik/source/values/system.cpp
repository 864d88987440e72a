#include "values/system.h"

#include <sys/eventfd.h>
#include <sys/sendfile.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <ctime>

namespace tovik::sys {

namespace {

const sockaddr* plain(const sockaddr_in& address) { return reinterpret_cast<const sockaddr*>(&address); }
sockaddr* plain(sockaddr_in& address) { return reinterpret_cast<sockaddr*>(&address); }

int control(int epoll, int operation, int descriptor, unsigned events, void* data) {
  epoll_event event{};
  event.events = events;
  event.data.ptr = data;
  return ::epoll_ctl(epoll, operation, descriptor, &event);
}

}  // namespace

int socket(int domain, int type, int protocol) { return ::socket(domain, type, protocol); }

int bind(int descriptor, const sockaddr_in& address) { return ::bind(descriptor, plain(address), sizeof address); }

int connect(int descriptor, const sockaddr_in& address) {
  return ::connect(descriptor, plain(address), sizeof address);
}

int listen(int descriptor, int backlog) { return ::listen(descriptor, backlog); }

int accept(int descriptor, sockaddr_in& peer) {
  socklen_t size = sizeof peer;
  return ::accept4(descriptor, plain(peer), &size, SOCK_NONBLOCK | SOCK_CLOEXEC);
}

int getsockname(int descriptor, sockaddr_in& address) {
  socklen_t size = sizeof address;
  return ::getsockname(descriptor, plain(address), &size);
}

int getpeername(int descriptor, sockaddr_in& address) {
  socklen_t size = sizeof address;
  return ::getpeername(descriptor, plain(address), &size);
}

int setsockopt(int descriptor, int level, int option, int value) {
  return ::setsockopt(descriptor, level, option, &value, sizeof value);
}

int getsockopt(int descriptor, int level, int option, int& value) {
  socklen_t size = sizeof value;
  return ::getsockopt(descriptor, level, option, &value, &size);
}

ssize_t recv(int descriptor, void* data, size_t size) { return ::recv(descriptor, data, size, MSG_DONTWAIT); }

ssize_t send(int descriptor, const void* data, size_t size) {
  return ::send(descriptor, data, size, MSG_DONTWAIT | MSG_NOSIGNAL);
}

/// Unlike send it has no flag against SIGPIPE. The signal is blocked during the call only, because a program that the
/// host spawns in a callback inherits the mask.
ssize_t sendfile(int descriptor, int file, off_t& offset, size_t size) {
  sigset_t signal;
  sigset_t before;
  sigemptyset(&signal);
  sigaddset(&signal, SIGPIPE);
  ::pthread_sigmask(SIG_BLOCK, &signal, &before);
  const ssize_t sent = ::sendfile(descriptor, file, &offset, size);
  const int error = errno;
  // SIGPIPE is also pending if the connection broke after the first bytes were sent.
  if (sent < static_cast<ssize_t>(size) && sigismember(&before, SIGPIPE) == 0) {
    const timespec now{};
    while (::sigtimedwait(&signal, nullptr, &now) < 0 && errno == EINTR) {
    }
  }
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  errno = error;
  return sent;
}

int epoll_create() { return ::epoll_create1(EPOLL_CLOEXEC); }

int epoll_add(int epoll, int descriptor, unsigned events, void* data) {
  return control(epoll, EPOLL_CTL_ADD, descriptor, events, data);
}

int epoll_modify(int epoll, int descriptor, unsigned events, void* data) {
  return control(epoll, EPOLL_CTL_MOD, descriptor, events, data);
}

int epoll_remove(int epoll, int descriptor) { return ::epoll_ctl(epoll, EPOLL_CTL_DEL, descriptor, nullptr); }

int epoll_wait(int epoll, epoll_event* events, int count, int limit_ms) {
  return ::epoll_wait(epoll, events, count, limit_ms);
}

int eventfd() { return ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC); }

int signal_eventfd(int descriptor) {
  const std::uint64_t one = 1;
  return static_cast<int>(::write(descriptor, &one, sizeof one));
}

int shutdown(int descriptor) { return ::shutdown(descriptor, SHUT_RDWR); }

int poll(pollfd* descriptors, nfds_t count, int limit_ms) { return ::poll(descriptors, count, limit_ms); }

int close(int descriptor) { return ::close(descriptor); }

}  // namespace tovik::sys
