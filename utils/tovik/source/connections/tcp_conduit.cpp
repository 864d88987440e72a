#include "connections/tcp_conduit.h"

#include <qk/logging/logging.h>
#include <sys/epoll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <utility>

#include "connections/consumer_record.h"
#include "connections/transport_core.h"
#include "tovik/data_aggregator.h"
#include "tovik/socket_dir.h"
#include "tovik/worker_thread.h"
#include "values/handler_exception.h"
#include "values/system_error.h"

namespace tovik {

namespace {

// After this many receives or this much time, a connection yields to the others on its worker.
constexpr int receivesPerTurn = 16;
constexpr std::chrono::milliseconds receivingPerTurn{5};  // many small units take a long time to handle

constexpr int noEnd = -1;
static_assert(noEnd != dirPeer && noEnd != dirLocal && noEnd != dirFailed);

}  // namespace

Result TcpConduit::add(const std::shared_ptr<TransportCore>& core, const std::shared_ptr<ConsumerRecord>& record,
                       Socket socket, bool isConnected, const std::string& name, int connectLimit_ms) {
  return core->add(std::make_shared<TcpConduit>(core, record, std::move(socket), isConnected, name, connectLimit_ms),
                   *record);
}

TcpConduit::TcpConduit(std::shared_ptr<TransportCore> core, const std::shared_ptr<ConsumerRecord>& record,
                       Socket socket, bool isConnected, std::string name, int connectLimit_ms)
    : core_(std::move(core)),
      name_(std::move(name)),
      isConnected_(isConnected),
      connectLimit_ms_(connectLimit_ms),
      channel_(std::make_shared<TcpChannel>(*this, *record, core_->traits().max_unit_bytes, core_->worker(),
                                            core_->counters(), std::move(socket), isConnected)),
      consumer_(*core_, record, *this),
      startedAt_(core_->worker().now()),
      requestedEnd_(noEnd) {}

TcpConduit::~TcpConduit() = default;

void TcpConduit::onReady(unsigned events) {
  core_->worker().requireCurrent();
  const auto self = shared_from_this();
  try {
    if (stage_ == Stage::fresh) start();
    advance(events);
  } catch (...) {
    logHandlerException(name_.c_str());
    end(dirFailed);
  }
}

void TcpConduit::start() {
  stage_ = Stage::connecting;
  core_->counters().countStarted();
  if (const Result watched = channel_->sendSide().watch(); !watched) {
    QK_LOG(qk::logging::LogLevel::Warning) << "Tovik: " << name_ << ": " << watched.message;
    return end(dirFailed);
  }
  armDeadline();
  consumer_.newConduit();
  if (isConnected_ && stage_ == Stage::connecting) becomeUp();
}

void TcpConduit::advance(unsigned events) {
  if (stage_ == Stage::connecting && (events & (EPOLLOUT | EPOLLERR | EPOLLHUP)) != 0) finishConnecting(events);
  if (stage_ == Stage::up) {
    if (events != 0) {
      peerEnded_ = (events & EPOLLRDHUP) != 0;
      // A receive stops before an urgent byte even if data follows it. An error is reported only by a further receive.
      shortReadDrains_ = (events & (EPOLLPRI | EPOLLHUP | EPOLLERR)) == 0;
    }
    // If sending has failed, data that the peer sent before, such as its reason for closing, may still be
    // waiting to be received.
    if ((events & ~unsigned{EPOLLOUT}) != 0 || moreToRead_ || requestedEnd() == dirFailed) receive();
  }
  if (stage_ == Stage::up) channel_->sendSide().writeMore();
  if (const int requested = requestedEnd(); requested != noEnd) end(requested);
}

void TcpConduit::finishConnecting(unsigned events) {
  Socket& socket = channel_->sendSide().socket();
  // A socket that can be written to, and reports no error, is connected.
  int error = (events & (EPOLLERR | EPOLLHUP)) == 0 ? 0 : socket.takeError();
  if (error == 0 && socket.isConnectedToItself()) error = ECONNREFUSED;
  if (error == 0) return becomeUp();
  QK_LOG(qk::logging::LogLevel::Warning) << "Tovik: " << name_ << ": " << describeError("connect", error);
  end(dirFailed);
}

void TcpConduit::becomeUp() {
  stage_ = Stage::up;
  core_->counters().countUp();
  armDeadline();
  consumer_.keep(channel_);
  consumer_.conduitActive();
  if (stage_ != Stage::up) return;
  aggregator_ = consumer_.dataAggregator(*channel_);
  if (stage_ != Stage::up) return;
  if (aggregator_ == nullptr) return end(dirFailed);
  consumer_.newChannel(*channel_);
  if (stage_ == Stage::up) consumer_.channelUp(*channel_);
}

void TcpConduit::receive() {
  moreToRead_ = false;
  const auto givesWay = core_->worker().handlerStart() + receivingPerTurn;
  for (int i = 0; i < receivesPerTurn && (i == 0 || core_->worker().now() < givesWay); ++i) {
    Buffer buffer = core_->worker().receiveBuffer();
    const long received = channel_->sendSide().receive(buffer.curr(), buffer.remaining());
    if (received == Socket::wouldBlock) return;
    if (received <= 0) return end(received == 0 ? dirPeer : dirFailed);
    const auto size = static_cast<unsigned long>(received);
    handOn(Buffer(buffer.curr(), size));
    if (!delivers()) return;
    if (size == buffer.remaining() || !shortReadDrains_) continue;
    // Data that arrives from now on causes a new event. If the peer has already closed its side, none follows.
    if (peerEnded_) end(dirPeer);
    return;
  }
  moreToRead_ = true;
  core_->worker().schedule(shared_from_this());
}

void TcpConduit::handOn(Buffer buffer) {
  core_->counters().countReceived(buffer.remaining());
  if (!std::exchange(anyReceived_, true)) cancelDeadline();
  if (delivers()) consumer_.data(*aggregator_, buffer);
}

bool TcpConduit::delivers() const { return stage_ == Stage::up && !deliveryStopped_ && consumer_.takesData(); }

void TcpConduit::requestEnd(int direction) noexcept {
  int none = noEnd;
  requestedEnd_.compare_exchange_strong(none, direction, std::memory_order_acq_rel);
  if (direction == dirLocal && core_->worker().isCurrent()) deliveryStopped_ = true;
  core_->worker().schedule(shared_from_this());
}

void TcpConduit::end(int direction) {
  core_->worker().requireCurrent();
  const auto self = shared_from_this();
  if (stage_ != Stage::ended) close(direction);
  consumer_.newConduit();
  consumer_.channelDown(*channel_, direction);
  consumer_.conduitInactive();
}

void TcpConduit::close(int direction) {
  if (stage_ == Stage::fresh) core_->counters().countStarted();
  stage_ = Stage::ended;
  cancelDeadline();
  channel_->close(timedOut_ ? EndCause::limit : consumer_.hasFailed() ? EndCause::exception : EndCause::other);
  core_->counters().countEnd(direction);
  core_->worker().retainUntilTurnEnd(shared_from_this());
}

/// Arms the earliest of the deadlines that apply in this stage.
void TcpConduit::armDeadline() {
  cancelDeadline();
  std::optional<TimerQueue::Time> deadline;
  const int firstByte_s = core_->traits().first_byte_limit_s;
  if (firstByte_s > 0 && !anyReceived_) deadline = startedAt_ + std::chrono::seconds(firstByte_s);
  if (stage_ == Stage::connecting && connectLimit_ms_ >= 0) {
    const auto connected = startedAt_ + std::chrono::milliseconds(connectLimit_ms_);
    deadline = deadline ? std::min(*deadline, connected) : connected;
  }
  if (deadline) deadline_ = core_->worker().timers().add(*deadline, *this);
}

void TcpConduit::cancelDeadline() {
  if (deadline_) core_->worker().timers().cancel(*deadline_);
  deadline_.reset();
}

void TcpConduit::onTimer() {
  core_->worker().requireCurrent();
  deadline_.reset();
  timedOut_ = true;
  QK_LOG(qk::logging::LogLevel::Warning) << "Tovik: " << name_ << ": "
                                         << (stage_ == Stage::up ? "nothing received" : "not connected")
                                         << " within the time limit";
  end(dirLocal);
}

}  // namespace tovik
