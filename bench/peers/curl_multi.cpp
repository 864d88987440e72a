#include "peers/curl_multi.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

namespace bench::peers {
namespace {

void require(CURLMcode code) {
  if (code != CURLM_OK) throw std::runtime_error(curl_multi_strerror(code));
}

constexpr unsigned long fewTransfers = 32;

int actionOf(std::uint32_t events) {
  int action = 0;
  if ((events & EPOLLIN) != 0) action |= CURL_CSELECT_IN;
  if ((events & EPOLLOUT) != 0) action |= CURL_CSELECT_OUT;
  if ((events & (EPOLLERR | EPOLLHUP)) != 0) action |= CURL_CSELECT_ERR;
  return action;
}

}  // namespace

CurlMulti::CurlMulti(unsigned long connections) : multi_(curl_multi_init()), epoll_(epoll_create1(EPOLL_CLOEXEC)) {
  if (multi_ == nullptr || epoll_ < 0) throw std::runtime_error("curl_multi_init or epoll_create1 failed");
  require(curl_multi_setopt(multi_, CURLMOPT_SOCKETFUNCTION, &CurlMulti::onSocket));
  require(curl_multi_setopt(multi_, CURLMOPT_SOCKETDATA, this));
  require(curl_multi_setopt(multi_, CURLMOPT_TIMERFUNCTION, &CurlMulti::onTimer));
  require(curl_multi_setopt(multi_, CURLMOPT_TIMERDATA, this));
  require(curl_multi_setopt(multi_, CURLMOPT_MAXCONNECTS, static_cast<long>(connections)));
}

CurlMulti::~CurlMulti() {
  curl_multi_cleanup(multi_);
  close(epoll_);
}

void CurlMulti::add(const CurlEasy& easy) {
  require(curl_multi_add_handle(multi_, easy.handle()));
  ++active_;
}

void CurlMulti::run(const std::function<void(CurlEasy& easy)>& onDone) {
  while (active_ > 0) {
    turn();
    reportEnds(onDone);
  }
}

void CurlMulti::turn() {
  std::array<epoll_event, 256> events;
  const int count = epoll_wait(epoll_, events.data(), static_cast<int>(events.size()), waitMilliseconds());
  int running = 0;
  // If the reply to PASV arrives at once, libcurl 7.88 leaves the transfer with neither a socket nor a timer to wait
  // for. Only curl_multi_socket_all continues it. It is called at once if there are few transfers and one of them is
  // certainly stuck, otherwise after a millisecond without events.
  if (count == 0) require(curl_multi_socket_all(multi_, &running));
  if (timer_ && Clock::now() >= *timer_) {
    timer_.reset();
    require(curl_multi_socket_action(multi_, CURL_SOCKET_TIMEOUT, 0, &running));
  }
  for (int i = 0; i < count; ++i) {
    const auto& event = events[static_cast<std::size_t>(i)];
    require(curl_multi_socket_action(multi_, event.data.fd, actionOf(event.events), &running));
  }
}

void CurlMulti::reportEnds(const std::function<void(CurlEasy& easy)>& onDone) {
  int queued = 0;
  while (const CURLMsg* const message = curl_multi_info_read(multi_, &queued)) {
    if (message->msg != CURLMSG_DONE) continue;
    CURL* const handle = message->easy_handle;
    CurlEasy::require(message->data.result);
    CurlEasy* easy = nullptr;
    CurlEasy::require(curl_easy_getinfo(handle, CURLINFO_PRIVATE, &easy));
    require(curl_multi_remove_handle(multi_, handle));
    --active_;
    onDone(*easy);
  }
}

/// The "registered" pointer of a socket is null until the socket is in the epoll set.
int CurlMulti::onSocket(CURL* /*easy*/, curl_socket_t socket, int what, void* self, void* registered) {
  auto& multi = *static_cast<CurlMulti*>(self);
  if (what == CURL_POLL_REMOVE) {
    epoll_ctl(multi.epoll_, EPOLL_CTL_DEL, socket, nullptr);
    --multi.watched_;
    return 0;
  }
  epoll_event event{};
  event.events = ((what & CURL_POLL_IN) != 0 ? EPOLLIN : 0U) | ((what & CURL_POLL_OUT) != 0 ? EPOLLOUT : 0U);
  event.data.fd = socket;
  if (epoll_ctl(multi.epoll_, registered == nullptr ? EPOLL_CTL_ADD : EPOLL_CTL_MOD, socket, &event) != 0) return -1;
  if (registered != nullptr) return 0;
  ++multi.watched_;
  return curl_multi_assign(multi.multi_, socket, self) == CURLM_OK ? 0 : -1;
}

int CurlMulti::onTimer(CURLM* /*multi*/, long milliseconds, void* self) {
  auto& timer = static_cast<CurlMulti*>(self)->timer_;
  timer.reset();
  if (milliseconds >= 0) timer = Clock::now() + std::chrono::milliseconds(milliseconds);
  return 0;
}

int CurlMulti::waitMilliseconds() const {
  const bool due = timer_ && Clock::now() >= *timer_;
  const bool stuck = watched_ < active_ && active_ <= fewTransfers;
  return due || stuck ? 0 : 1;
}

}  // namespace bench::peers
