#include "failing_calls.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <initializer_list>

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

// The linker puts wrap_NAME in the place of tovik::sys::NAME, and real_NAME stands for that function itself.
#define REPLACES(result, name, mangled, ...)              \
  result real_##name(__VA_ARGS__) asm("__real_" mangled); \
  result wrap_##name(__VA_ARGS__) asm("__wrap_" mangled); \
  result wrap_##name(__VA_ARGS__)

REPLACES(int, socket, "_ZN5tovik3sys6socketEiii", int domain, int type, int protocol) {
  return failsNow({EMFILE, ENFILE, ENOBUFS}) ? -1 : real_socket(domain, type, protocol);
}
REPLACES(int, bind, "_ZN5tovik3sys4bindEiRK11sockaddr_in", int descriptor, const sockaddr_in& address) {
  return failsNow({EADDRINUSE, EADDRNOTAVAIL}) ? -1 : real_bind(descriptor, address);
}
REPLACES(int, connect, "_ZN5tovik3sys7connectEiRK11sockaddr_in", int descriptor, const sockaddr_in& address) {
  return failsNow({ENETUNREACH, ECONNREFUSED, EADDRNOTAVAIL, ETIMEDOUT, EINPROGRESS})
             ? -1
             : real_connect(descriptor, address);
}
REPLACES(int, listen, "_ZN5tovik3sys6listenEii", int descriptor, int backlog) {
  return failsNow({EADDRINUSE}) ? -1 : real_listen(descriptor, backlog);
}
REPLACES(int, accept, "_ZN5tovik3sys6acceptEiR11sockaddr_in", int descriptor, sockaddr_in& peer) {
  if (isInterrupted(accepting)) return -1;
  return failsNow({EMFILE, ENFILE, ENOBUFS, ECONNABORTED, EINTR}) ? -1 : real_accept(descriptor, peer);
}
REPLACES(int, getsockname, "_ZN5tovik3sys11getsocknameEiR11sockaddr_in", int descriptor, sockaddr_in& address) {
  return failsNow({ENOBUFS}) ? -1 : real_getsockname(descriptor, address);
}
REPLACES(int, setsockopt, "_ZN5tovik3sys10setsockoptEiiii", int descriptor, int level, int option, int value) {
  return failsNow({ENOPROTOOPT, ENOBUFS}) ? -1 : real_setsockopt(descriptor, level, option, value);
}
REPLACES(int, getsockopt, "_ZN5tovik3sys10getsockoptEiiiRi", int descriptor, int level, int option, int& value) {
  const int error = failure({ENOBUFS, pending(ECONNREFUSED), pending(ETIMEDOUT), pending(ECONNRESET)});
  if (error < 0) value = -error;
  if (error > 0) errno = error;
  if (error != 0) return error < 0 ? 0 : -1;
  return real_getsockopt(descriptor, level, option, value);
}
REPLACES(ssize_t, recv, "_ZN5tovik3sys4recvEiPvm", int descriptor, void* data, size_t size) {
  if (isInterrupted(receiving)) return -1;
  const int error = failure({ECONNRESET, ETIMEDOUT, ENOBUFS, EINTR, shortRead});
  if (error > 0) errno = error;
  if (error > 0) return -1;
  const ssize_t received = error == shortRead ? receiveShort(descriptor, data) : real_recv(descriptor, data, size);
  if (received > 0) {
    receivedBytes += static_cast<unsigned long long>(received);
    eventfd_write(receivedEvent, 1);
  }
  return received;
}
REPLACES(ssize_t, send, "_ZN5tovik3sys4sendEiPKvm", int descriptor, const void* data, size_t size) {
  if (isInterrupted(sending)) return -1;
  const int error = failure({EPIPE, ECONNRESET, ENOBUFS, ETIMEDOUT, EINTR, shortWrite});
  if (error > 0) errno = error;
  return error > 0 ? -1 : real_send(descriptor, data, error == shortWrite ? 1 : size);
}
REPLACES(ssize_t, sendfile, "_ZN5tovik3sys8sendfileEiiRlm", int descriptor, int file, off_t& offset, size_t size) {
  if (isInterrupted(sendingFile)) return -1;
  const int error = failure({EIO, shortWrite});
  if (error > 0) errno = error;
  return error > 0 ? -1 : real_sendfile(descriptor, file, offset, error == shortWrite ? 1 : size);
}
REPLACES(int, epoll_create, "_ZN5tovik3sys12epoll_createEv") {
  return failsNow({EMFILE, ENFILE}) ? -1 : real_epoll_create();
}
REPLACES(int, epoll_add, "_ZN5tovik3sys9epoll_addEiijPv", int epoll, int descriptor, unsigned events, void* data) {
  return failsNow({ENOSPC, ENOMEM}) ? -1 : real_epoll_add(epoll, descriptor, events, data);
}
REPLACES(int, epoll_modify, "_ZN5tovik3sys12epoll_modifyEiijPv", int epoll, int descriptor, unsigned events,
         void* data) {
  return failsNow({ENOMEM}) ? -1 : real_epoll_modify(epoll, descriptor, events, data);
}
REPLACES(int, epoll_wait, "_ZN5tovik3sys10epoll_waitEiP11epoll_eventii", int epoll, epoll_event* events, int count,
         int limit_ms) {
  return isInterrupted(waiting) || failsNow({EINTR}) ? -1 : real_epoll_wait(epoll, events, count, limit_ms);
}
REPLACES(int, eventfd, "_ZN5tovik3sys7eventfdEv") { return failsNow({EMFILE, ENFILE}) ? -1 : real_eventfd(); }
REPLACES(int, poll, "_ZN5tovik3sys4pollEP6pollfdmi", pollfd* descriptors, nfds_t count, int limit_ms) {
  return isInterrupted(polling) || failsNow({EINTR, ENOMEM}) ? -1 : real_poll(descriptors, count, limit_ms);
}

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
