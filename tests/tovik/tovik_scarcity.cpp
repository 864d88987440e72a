#include "tovik_scarcity.h"

#include <malloc.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/epoll.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>

// clang's thread sanitizer links its own operator new as a strong symbol.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define OPERATOR_NEW_IS_TAKEN
#endif
#endif

namespace {

constexpr int plenty = std::numeric_limits<int>::max();

thread_local int allocationsLeft = plenty;
thread_local bool refused = false;
std::atomic<long> inUse{0};

std::atomic<bool> fails{false};
std::atomic<bool> interrupts{false};
std::atomic<int> callsLeft{0};
std::atomic<bool> failed{false};

enum Repeatable : unsigned { accepting, receiving, sending, sendingFile, waiting, polling, repeatableCount };
thread_local std::array<unsigned, repeatableCount> calls{};

/// Whether this call is the one that fails.
bool failsNow(int error) {
  if (!fails.load() || callsLeft.fetch_sub(1) != 0) return false;
  failed = true;
  errno = error;
  return true;
}

/// Every first, third … call of a kind on a thread.
bool isInterrupted(Repeatable kind) {
  if (!interrupts.load() || ++calls[kind] % 2 == 0) return false;
  failed = true;
  errno = EINTR;
  return true;
}

}  // namespace

#ifndef OPERATOR_NEW_IS_TAKEN

void* operator new(std::size_t size) {
  if (allocationsLeft == 0) {
    refused = true;
    throw std::bad_alloc();
  }
  if (allocationsLeft != plenty) --allocationsLeft;
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  inUse.fetch_add(static_cast<long>(::malloc_usable_size(memory)), std::memory_order_relaxed);
  return memory;
}

// Replaced as well, since a sanitizer's own would not fit the operator delete below.
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  try {
    return operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void operator delete(void* memory) noexcept {
  if (memory != nullptr) inUse.fetch_sub(static_cast<long>(::malloc_usable_size(memory)), std::memory_order_relaxed);
  std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept { operator delete(memory); }
void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept { operator delete(memory); }

#endif

// The linker puts wrap_NAME in the place of tovik::sys::NAME, and real_NAME stands for that function itself.
#define REPLACES(result, name, mangled, ...)              \
  result real_##name(__VA_ARGS__) asm("__real_" mangled); \
  result wrap_##name(__VA_ARGS__) asm("__wrap_" mangled); \
  result wrap_##name(__VA_ARGS__)

REPLACES(int, socket, "_ZN5tovik3sys6socketEiii", int domain, int type, int protocol) {
  return failsNow(EMFILE) ? -1 : real_socket(domain, type, protocol);
}
REPLACES(int, bind, "_ZN5tovik3sys4bindEiRK11sockaddr_in", int descriptor, const sockaddr_in& address) {
  return failsNow(EADDRINUSE) ? -1 : real_bind(descriptor, address);
}
REPLACES(int, connect, "_ZN5tovik3sys7connectEiRK11sockaddr_in", int descriptor, const sockaddr_in& address) {
  return failsNow(ENETUNREACH) ? -1 : real_connect(descriptor, address);
}
REPLACES(int, listen, "_ZN5tovik3sys6listenEii", int descriptor, int backlog) {
  return failsNow(EADDRINUSE) ? -1 : real_listen(descriptor, backlog);
}
REPLACES(int, accept, "_ZN5tovik3sys6acceptEiR11sockaddr_in", int descriptor, sockaddr_in& peer) {
  return isInterrupted(accepting) || failsNow(EMFILE) ? -1 : real_accept(descriptor, peer);
}
REPLACES(int, getsockname, "_ZN5tovik3sys11getsocknameEiR11sockaddr_in", int descriptor, sockaddr_in& address) {
  return failsNow(ENOBUFS) ? -1 : real_getsockname(descriptor, address);
}
REPLACES(int, setsockopt, "_ZN5tovik3sys10setsockoptEiiii", int descriptor, int level, int option, int value) {
  return failsNow(ENOPROTOOPT) ? -1 : real_setsockopt(descriptor, level, option, value);
}
REPLACES(int, getsockopt, "_ZN5tovik3sys10getsockoptEiiiRi", int descriptor, int level, int option, int& value) {
  return failsNow(ENOBUFS) ? -1 : real_getsockopt(descriptor, level, option, value);
}
REPLACES(ssize_t, recv, "_ZN5tovik3sys4recvEiPvm", int descriptor, void* data, size_t size) {
  return isInterrupted(receiving) || failsNow(ECONNRESET) ? -1 : real_recv(descriptor, data, size);
}
REPLACES(ssize_t, send, "_ZN5tovik3sys4sendEiPKvm", int descriptor, const void* data, size_t size) {
  return isInterrupted(sending) || failsNow(EPIPE) ? -1 : real_send(descriptor, data, size);
}
REPLACES(ssize_t, sendfile, "_ZN5tovik3sys8sendfileEiiRlm", int descriptor, int file, off_t& offset, size_t size) {
  return isInterrupted(sendingFile) || failsNow(EIO) ? -1 : real_sendfile(descriptor, file, offset, size);
}
REPLACES(int, epoll_create, "_ZN5tovik3sys12epoll_createEv") { return failsNow(EMFILE) ? -1 : real_epoll_create(); }
REPLACES(int, epoll_add, "_ZN5tovik3sys9epoll_addEiijPv", int epoll, int descriptor, unsigned events, void* data) {
  return failsNow(ENOSPC) ? -1 : real_epoll_add(epoll, descriptor, events, data);
}
REPLACES(int, epoll_wait, "_ZN5tovik3sys10epoll_waitEiP11epoll_eventii", int epoll, epoll_event* events, int count,
         int limit_ms) {
  return isInterrupted(waiting) ? -1 : real_epoll_wait(epoll, events, count, limit_ms);
}
REPLACES(int, eventfd, "_ZN5tovik3sys7eventfdEv") { return failsNow(EMFILE) ? -1 : real_eventfd(); }
REPLACES(int, poll, "_ZN5tovik3sys4pollEP6pollfdmi", pollfd* descriptors, nfds_t count, int limit_ms) {
  return isInterrupted(polling) ? -1 : real_poll(descriptors, count, limit_ms);
}

namespace testing_support {

bool memoryCanBeScarce() {
#ifdef OPERATOR_NEW_IS_TAKEN
  return false;
#else
  return true;
#endif
}

long bytesInUse() { return inUse.load(); }

void grantAllocations(int count) {
  allocationsLeft = count;
  refused = false;
}

void grantAllocationsFreely() { allocationsLeft = plenty; }

bool allocationsWereRefused() { return refused; }

FailingCalls::FailingCalls(int number, bool interrupted) {
  callsLeft = number;
  failed = false;
  interrupts = interrupted;
  fails = !interrupted;
}

FailingCalls::~FailingCalls() {
  fails = false;
  interrupts = false;
}

bool FailingCalls::anyFailed() { return failed.load(); }

}  // namespace testing_support
