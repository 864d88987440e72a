#pragma once

#include <netinet/in.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>

/// All system calls of the framework. Each function makes the call of that name and leaves errno as the call does. A
/// test program that defines all of them replaces them: the linker then omits this object file of the static library.
namespace tovik::sys {

int socket(int domain, int type, int protocol);
int bind(int descriptor, const sockaddr_in& address);
int connect(int descriptor, const sockaddr_in& address);
int listen(int descriptor, int backlog);
int accept(int descriptor, sockaddr_in& peer);
int getsockname(int descriptor, sockaddr_in& address);
int getpeername(int descriptor, sockaddr_in& address);
int setsockopt(int descriptor, int level, int option, int value);
int getsockopt(int descriptor, int level, int option, int& value);
ssize_t recv(int descriptor, void* data, size_t size);
ssize_t send(int descriptor, const void* data, size_t size);
ssize_t sendfile(int descriptor, int file, off_t& offset, size_t size);
int epoll_create();
int epoll_add(int epoll, int descriptor, unsigned events, void* data);
int epoll_modify(int epoll, int descriptor, unsigned events, void* data);
int epoll_remove(int epoll, int descriptor);
int epoll_wait(int epoll, epoll_event* events, int count, int limit_ms);
int eventfd();
int signal_eventfd(int descriptor);
int shutdown(int descriptor);
int poll(pollfd* descriptors, nfds_t count, int limit_ms);
int close(int descriptor);

}  // namespace tovik::sys
