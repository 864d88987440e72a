#include "ports.h"

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <tovik/descriptor.h>

#include <chrono>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>

namespace soak {

namespace {

void bringLoopbackUp() {
  const tovik::Descriptor any(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ifreq loopback{};
  std::strcpy(loopback.ifr_name, "lo");
  loopback.ifr_flags = IFF_UP | IFF_RUNNING;
  if (::ioctl(any.number(), SIOCSIFFLAGS, &loopback) != 0) throw std::runtime_error("no loopback interface");
}

/// Ended connections, of this network.
long kept() {
  std::ifstream statistics("/proc/net/sockstat");
  std::string word;
  long count = 0;
  while (statistics >> word)
    if (word == "tw") statistics >> count;
  return count;
}

long ports() {
  long first = 0;
  long last = 0;
  std::ifstream("/proc/sys/net/ipv4/ip_local_port_range") >> first >> last;
  return last - first;
}

}  // namespace

void leaveTheNetwork() {
  if (::unshare(CLONE_NEWNET) != 0) return;
  bringLoopbackUp();
  // Here nobody depends on them. Where this can't be set, awaitPorts takes its time.
  std::ofstream("/proc/sys/net/ipv4/tcp_max_tw_buckets") << 1000;
}

void awaitPorts() {
  using std::chrono::steady_clock;
  const auto end = steady_clock::now() + std::chrono::minutes(3);
  while (kept() > ports() / 2) {
    if (steady_clock::now() > end) throw std::runtime_error("the ports of ended connections do not become free");
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
}

}  // namespace soak
