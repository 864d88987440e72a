#include "failing_calls.h"

#include <sys/eventfd.h>
#include <sys/socket.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <initializer_list>

#include "values/system.h"

// What system.cpp defines, compiled under this name too: see CMakeLists.txt.
namespace tovik::kernel {

decltype(sys::socket) socket;
decltype(sys::bind) bind;
decltype(sys::connect) connect;
decltype(sys::listen) listen;
decltype(sys::accept) accept;
decltype(sys::getsockname) getsockname;
decltype(sys::getpeername) getpeername;
decltype(sys::setsockopt) setsockopt;
decltype(sys::getsockopt) getsockopt;
decltype(sys::recv) recv;
decltype(sys::send) send;
decltype(sys::sendfile) sendfile;
decltype(sys::epoll_create) epoll_create;
decltype(sys::epoll_add) epoll_add;
decltype(sys::epoll_modify) epoll_modify;
decltype(sys::epoll_remove) epoll_remove;
decltype(sys::epoll_wait) epoll_wait;
decltype(sys::eventfd) eventfd;
decltype(sys::signal_eventfd) signal_eventfd;
decltype(sys::shutdown) shutdown;
decltype(sys::poll) poll;
decltype(sys::close) close;

}  // namespace tovik::kernel

namespace {

std::atomic<bool> fails{false};
std::atomic<bool> interrupts{false};
std::atomic<int> callsLeft{0};
std::atomic<unsigned> chosenError{0};
std::atomic<bool> failed{false};
std::atomic<bool> harmed{false};

std::atomic<unsigned long long> receivedBytes{0};
const int receivedEvent = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);

enum Repeatable : unsigned { accepting, receiving, sending, sendingFile, waiting, polling, repeatableCount };
thread_local std::array<unsigned, repeatableCount> calls{};

/// A send that the kernel takes one byte of, and a receive of one byte before the others have arrived.
constexpr int shortWrite = -1;
constexpr int shortRead = -2;
/// An error that SO_ERROR gives, instead of a failure of getsockopt.
constexpr int pending(int error) { return -error; }

/// The error of this call if it is the one that fails, otherwise 0.
int failure(std::initializer_list<int> errors) {
  if (!fails.load() || callsLeft.fetch_sub(1) != 0) return 0;
  if (chosenError >= errors.size()) return 0;
  const int error = errors.begin()[chosenError];
  failed = true;
  harmed = error != EINTR && error != shortWrite && error != shortRead;
  return error;
}

bool failsNow(std::initializer_list<int> errors) {
  const int error = failure(errors);
  if (error != 0) errno = error;
  return error != 0;
}

/// Every first, third … call of a kind on a thread.
bool isInterrupted(Repeatable kind) {
  if (!interrupts.load() || ++calls[kind] % 2 == 0) return false;
  failed = true;
  errno = EINTR;
  return true;
}

/// Receives one byte, and has the kernel report the others as new: a changed low-water mark makes it look again.
ssize_t receiveShort(int descriptor, void* data) {
  const ssize_t received = ::recv(descriptor, data, 1, 0);
  const int lowest = 1;
  if (received > 0) ::setsockopt(descriptor, SOL_SOCKET, SO_RCVLOWAT, &lowest, sizeof lowest);
  return received;
}

}  // namespace

// In the place of the library's. One that is missing here brings in the library's object, and the program does not
// link.
namespace tovik::sys {

int socket(int domain, int type, int protocol) {
  return failsNow({EMFILE, ENFILE, ENOBUFS}) ? -1 : kernel::socket(domain, type, protocol);
}

int bind(int descriptor, const sockaddr_in& address) {
  return failsNow({EADDRINUSE, EADDRNOTAVAIL}) ? -1 : kernel::bind(descriptor, address);
}

int connect(int descriptor, const sockaddr_in& address) {
  return failsNow({ENETUNREACH, ECONNREFUSED, EADDRNOTAVAIL, ETIMEDOUT, EINPROGRESS})
             ? -1
             : kernel::connect(descriptor, address);
}

int listen(int descriptor, int backlog) { return failsNow({EADDRINUSE}) ? -1 : kernel::listen(descriptor, backlog); }

int accept(int descriptor, sockaddr_in& peer) {
  if (isInterrupted(accepting)) return -1;
  return failsNow({EMFILE, ENFILE, ENOBUFS, ECONNABORTED, EINTR}) ? -1 : kernel::accept(descriptor, peer);
}

int getsockname(int descriptor, sockaddr_in& address) {
  return failsNow({ENOBUFS}) ? -1 : kernel::getsockname(descriptor, address);
}

int setsockopt(int descriptor, int level, int option, int value) {
  return failsNow({ENOPROTOOPT, ENOBUFS}) ? -1 : kernel::setsockopt(descriptor, level, option, value);
}

int getsockopt(int descriptor, int level, int option, int& value) {
  const int error = failure({ENOBUFS, pending(ECONNREFUSED), pending(ETIMEDOUT), pending(ECONNRESET)});
  if (error < 0) value = -error;
  if (error > 0) errno = error;
  if (error != 0) return error < 0 ? 0 : -1;
  return kernel::getsockopt(descriptor, level, option, value);
}

ssize_t recv(int descriptor, void* data, size_t size) {
  if (isInterrupted(receiving)) return -1;
  const int error = failure({ECONNRESET, ETIMEDOUT, ENOBUFS, EINTR, shortRead});
  if (error > 0) errno = error;
  if (error > 0) return -1;
  const ssize_t received = error == shortRead ? receiveShort(descriptor, data) : kernel::recv(descriptor, data, size);
  if (received > 0) {
    receivedBytes += static_cast<unsigned long long>(received);
    eventfd_write(receivedEvent, 1);
  }
  return received;
}

ssize_t send(int descriptor, const void* data, size_t size) {
  if (isInterrupted(sending)) return -1;
  const int error = failure({EPIPE, ECONNRESET, ENOBUFS, ETIMEDOUT, EINTR, shortWrite});
  if (error > 0) errno = error;
  return error > 0 ? -1 : kernel::send(descriptor, data, error == shortWrite ? 1 : size);
}

ssize_t sendfile(int descriptor, int file, off_t& offset, size_t size) {
  if (isInterrupted(sendingFile)) return -1;
  const int error = failure({EIO, shortWrite});
  if (error > 0) errno = error;
  return error > 0 ? -1 : kernel::sendfile(descriptor, file, offset, error == shortWrite ? 1 : size);
}

int epoll_create() { return failsNow({EMFILE, ENFILE}) ? -1 : kernel::epoll_create(); }

int epoll_add(int epoll, int descriptor, unsigned events, void* data) {
  return failsNow({ENOSPC, ENOMEM}) ? -1 : kernel::epoll_add(epoll, descriptor, events, data);
}

int epoll_modify(int epoll, int descriptor, unsigned events, void* data) {
  return failsNow({ENOMEM}) ? -1 : kernel::epoll_modify(epoll, descriptor, events, data);
}

int epoll_wait(int epoll, epoll_event* events, int count, int limit_ms) {
  return isInterrupted(waiting) || failsNow({EINTR}) ? -1 : kernel::epoll_wait(epoll, events, count, limit_ms);
}

int eventfd() { return failsNow({EMFILE, ENFILE}) ? -1 : kernel::eventfd(); }

int poll(pollfd* descriptors, nfds_t count, int limit_ms) {
  return isInterrupted(polling) || failsNow({EINTR, ENOMEM}) ? -1 : kernel::poll(descriptors, count, limit_ms);
}

int getpeername(int descriptor, sockaddr_in& address) { return kernel::getpeername(descriptor, address); }

int epoll_remove(int epoll, int descriptor) { return kernel::epoll_remove(epoll, descriptor); }

int signal_eventfd(int descriptor) { return kernel::signal_eventfd(descriptor); }

int shutdown(int descriptor) { return kernel::shutdown(descriptor); }

int close(int descriptor) { return kernel::close(descriptor); }

}  // namespace tovik::sys

namespace testing_support {

unsigned long long ReceiveCounter::bytes() { return receivedBytes.load(); }

int ReceiveCounter::event() { return receivedEvent; }

void ReceiveCounter::clearEvent() {
  eventfd_t count = 0;
  eventfd_read(receivedEvent, &count);
}

FailingCalls::FailingCalls(int number, unsigned error, bool interrupted) {
  callsLeft = number;
  chosenError = error;
  failed = false;
  interrupts = interrupted;
  fails = !interrupted;
}

FailingCalls::~FailingCalls() {
  fails = false;
  interrupts = false;
}

bool FailingCalls::anyFailed() { return failed.load(); }

bool FailingCalls::anyHarmed() { return failed.load() && harmed.load(); }

}  // namespace testing_support
