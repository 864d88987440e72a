#include "connections/tcp_conduit.h"

#include <qk/logging/logging.h>
#include <sys/epoll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <mutex>
#include <new>
#include <utility>

#include "connections/consumer_record.h"
#include "connections/tcp_channel.h"
#include "tovik/consumer.h"
#include "tovik/data_aggregator.h"
#include "tovik/socket_dir.h"
#include "tovik/worker_thread.h"
#include "values/handler_exception.h"
#include "values/system_error.h"

namespace tovik {

namespace {

// One connection gives way to the others of its worker after this much.
constexpr int receivesPerTurn = 16;
constexpr std::chrono::milliseconds receivingPerTurn{5};  // small units cost far more than their bytes
constexpr unsigned long sentPerTurn = 4UL << 20U;

constexpr int noEnd = -1;
static_assert(noEnd != dirPeer && noEnd != dirLocal && noEnd != dirFailed);

}  // namespace

TcpConduit::TcpConduit(std::shared_ptr<TransportCore> core, std::shared_ptr<ConsumerRecord> record, Socket socket,
                       bool connected, std::string name, unsigned long long number, int connectLimit_ms)
    : core_(std::move(core)),
      record_(std::move(record)),
      name_(std::move(name)),
      number_(number),
      connected_(connected),
      connectLimit_ms_(connectLimit_ms),
      startedAt_(std::chrono::steady_clock::now()),
      socket_(std::move(socket)),
      outputWatched_(!connected),
      requestedEnd_(noEnd) {}

TcpConduit::~TcpConduit() = default;

void TcpConduit::onReady(unsigned events) {
  const auto self = shared_from_this();
  try {
    if (stage_ == Stage::fresh) begin();
    advance(events);
  } catch (...) {
    logHandlerException(name_.c_str());
    end(dirFailed);
  }
}

void TcpConduit::begin() {
  stage_ = Stage::connecting;
  core_->counters().countStarted();
  WorkerThread& worker = core_->worker();
  const Result watched =
      connected_ ? worker.watchInput(socket_.number(), *this) : worker.watch(socket_.number(), *this);
  if (!watched) {
    QK_LOG(qk::logging::LogLevel::Warning) << "Tovik: " << name_ << ": " << watched.message;
    return end(dirFailed);
  }
  armDeadline();
  newTold_ = true;
  tell([this](Consumer& consumer) { consumer.onNewConduit(this); });
  if (connected_ && stage_ == Stage::connecting) becomeUp();
}

void TcpConduit::advance(unsigned events) {
  if (stage_ == Stage::connecting && (events & (EPOLLOUT | EPOLLERR | EPOLLHUP)) != 0) finishConnecting(events);
  if (stage_ == Stage::up) {
    if (events != 0) {
      peerEnded_ = (events & EPOLLRDHUP) != 0;
      // A receive stops before an urgent byte, whatever is behind it; an error is there to be received too.
      shortReadDrains_ = (events & (EPOLLPRI | EPOLLHUP | EPOLLERR)) == 0;
    }
    // Where sending failed, what the peer sent before (why it closed, say) may still be there to receive.
    const int requested = requestedEnd_.load(std::memory_order_acquire);
    if ((events & ~unsigned{EPOLLOUT}) != 0 || moreToRead_ || requested == dirFailed) receive();
  }
  if (stage_ == Stage::up) writeMore();
  const int requested = requestedEnd_.load(std::memory_order_acquire);
  if (requested != noEnd) end(requested);
}

void TcpConduit::finishConnecting(unsigned events) {
  // A socket that can be written to, and tells of no error, is connected.
  int error = (events & (EPOLLERR | EPOLLHUP)) == 0 ? 0 : socket_.takeError();
  if (error == 0 && socket_.isConnectedToItself()) error = ECONNREFUSED;
  if (error == 0) return becomeUp();
  QK_LOG(qk::logging::LogLevel::Warning) << "Tovik: " << name_ << ": " << describeError("connect", error);
  end(dirFailed);
}

void TcpConduit::becomeUp() {
  stage_ = Stage::up;
  core_->counters().countUp();
  armDeadline();
  channel_ = std::make_shared<TcpChannel>(*this, *record_, core_->traits().max_unit_bytes);
  record_->addChannel(channel_);
  tell([this](Consumer& consumer) { consumer.onConduitActive(this); });
  if (stage_ == Stage::up) makeAggregator();
  if (stage_ == Stage::up) tell([this](Consumer& consumer) { consumer.onNewChannel(channel_.get()); });
  if (stage_ != Stage::up || consumerFailed_) return;
  upTold_ = true;
  tell([this](Consumer& consumer) { consumer.onChannelUp(channel_.get()); });
}

void TcpConduit::makeAggregator() {
  DataAggregator* made = nullptr;
  bool given = false;
  tell([&](Consumer& consumer) { given = consumer.getDataAggregator(channel_.get(), made); });
  aggregator_.reset(made);
  if ((!given || made == nullptr) && stage_ == Stage::up) end(dirFailed);
}

void TcpConduit::receive() {
  moreToRead_ = false;
  const auto givesWay = core_->worker().handlerStart() + receivingPerTurn;
  for (int i = 0; i < receivesPerTurn && (i == 0 || std::chrono::steady_clock::now() < givesWay); ++i) {
    Buffer buffer = core_->worker().receiveBuffer();
    const long received = receiveInto(buffer);
    if (received == Socket::wouldBlock) return;
    if (received <= 0) return end(received == 0 ? dirPeer : dirFailed);
    const auto size = static_cast<unsigned long>(received);
    handOn(Buffer(buffer.curr(), size));
    if (!delivers()) return;
    if (size == buffer.remaining() || !shortReadDrains_) continue;
    // What arrives from now on is a new edge; the end is none when it has been seen.
    if (peerEnded_) end(dirPeer);
    return;
  }
  moreToRead_ = true;
  core_->worker().schedule(shared_from_this());
}

long TcpConduit::receiveInto(Buffer& buffer) {
  const std::lock_guard lock(channel_->mutex());
  return socket_.recv(buffer.curr(), buffer.remaining());
}

void TcpConduit::handOn(Buffer buffer) {
  core_->counters().countReceived(buffer.remaining());
  if (!std::exchange(anyReceived_, true)) cancelDeadline();
  if (delivers()) tell([&](Consumer& /*consumer*/) { aggregator_->handleBuffer(&buffer, nullptr); });
}

bool TcpConduit::delivers() const {
  return stage_ == Stage::up && upTold_ && !deliveryStopped_ && !consumerFailed_ && !record_->isRetired();
}

void TcpConduit::send(const char* data, unsigned long size) {
  if (endsWhenSent_) return;
  long sent = output_.isEmpty() ? socket_.send(data, size) : 0;
  if (sent == Socket::wouldBlock) sent = 0;
  if (sent < 0) return requestEnd(dirFailed);
  const auto taken = static_cast<unsigned long>(sent);
  countSent(taken);
  if (taken == size) return;
  try {
    output_.add(data + taken, size - taken);
    // Only a socket that has refused bytes, and is watched for it, tells when it takes more.
    if (taken > 0 || !outputWatched_) core_->worker().schedule(shared_from_this());
  } catch (const std::bad_alloc&) {
    requestEnd(dirFailed);
  }
}

void TcpConduit::sendFile(Descriptor file, long offset, unsigned long size) {
  if (endsWhenSent_) return;
  try {
    output_.addFile(std::move(file), offset, size);
    core_->worker().schedule(shared_from_this());
  } catch (const std::bad_alloc&) {
    requestEnd(dirFailed);
  }
}

void TcpConduit::endWhenSent() {
  endsWhenSent_ = true;
  if (output_.isEmpty()) requestEnd(dirLocal);
}

void TcpConduit::writeMore() {
  const std::lock_guard lock(channel_->mutex());
  if (output_.isEmpty()) return;
  switch (writeOutput()) {
    case OutputQueue::Outcome::failed:
      return requestEnd(dirFailed);
    case OutputQueue::Outcome::more:
      return core_->worker().schedule(shared_from_this());
    case OutputQueue::Outcome::drained:
      if (endsWhenSent_) requestEnd(dirLocal);
      return;
    case OutputQueue::Outcome::blocked:
      return watchOutput();
  }
}

OutputQueue::Outcome TcpConduit::writeOutput() {
  unsigned long budget = sentPerTurn;
  const OutputQueue::Outcome outcome = output_.writeTo(socket_, budget);
  core_->counters().countSent(sentPerTurn - budget);
  return outcome;
}

void TcpConduit::countSent(unsigned long bytes) {
  if (core_->worker().isCurrent())
    core_->counters().countSent(bytes);
  else
    core_->counters().countSentElsewhere(bytes);
}

void TcpConduit::watchOutput() {
  if (std::exchange(outputWatched_, true)) return;
  if (!core_->worker().watchOutput(socket_.number(), *this)) requestEnd(dirFailed);
}

void TcpConduit::requestEnd(int direction) noexcept {
  int none = noEnd;
  requestedEnd_.compare_exchange_strong(none, direction, std::memory_order_acq_rel);
  if (direction == dirLocal && core_->worker().isCurrent()) deliveryStopped_ = true;
  core_->worker().schedule(shared_from_this());
}

void TcpConduit::end(int direction) {
  const auto self = shared_from_this();
  if (stage_ != Stage::ended) {
    if (stage_ == Stage::fresh) core_->counters().countStarted();
    stage_ = Stage::ended;
    cancelDeadline();
    closeSocket();
    core_->counters().countEnd(direction);
    core_->worker().retainUntilTurnEnd(self);
  }
  if (!std::exchange(newTold_, true)) tell([this](Consumer& consumer) { consumer.onNewConduit(this); });
  if (upTold_ && !std::exchange(downTold_, true))
    tellEnd([&](Consumer& consumer) { consumer.onChannelDown(channel_.get(), direction); });
  if (std::exchange(inactiveTold_, true)) return;
  core_->removeConduit(place_, *record_);
  tellEnd([this](Consumer& consumer) { consumer.onConduitInactive(this); });
  core_->release(record_);
}

void TcpConduit::closeSocket() {
  core_->worker().unwatch(socket_.number());
  if (channel_ == nullptr) return socket_.close();
  const std::lock_guard lock(channel_->mutex());
  writeOutput();
  socket_.close();
  channel_->detach(cause_);
}

/// Arms the nearest of the limits that hold in this stage.
void TcpConduit::armDeadline() {
  cancelDeadline();
  std::optional<TimerQueue::Time> deadline;
  const int firstByte_s = core_->traits().first_byte_limit_s;
  if (firstByte_s > 0 && !anyReceived_) deadline = startedAt_ + std::chrono::seconds(firstByte_s);
  if (stage_ == Stage::connecting && connectLimit_ms_ >= 0) {
    const auto connected = startedAt_ + std::chrono::milliseconds(connectLimit_ms_);
    deadline = deadline ? std::min(*deadline, connected) : connected;
  }
  if (deadline) limit_ = core_->worker().timers().add(*deadline, *this);
}

void TcpConduit::cancelDeadline() {
  if (limit_) core_->worker().timers().cancel(*limit_);
  limit_.reset();
}

void TcpConduit::onTimer() {
  limit_.reset();
  cause_ = EndCause::limit;
  QK_LOG(qk::logging::LogLevel::Warning) << "Tovik: " << name_ << ": "
                                         << (stage_ == Stage::up ? "nothing received" : "not connected")
                                         << " within the time limit";
  end(dirLocal);
}

/// Calls the consumer, unless it is retired or has thrown in an earlier event of this conduit.
template <class Event>
void TcpConduit::tell(Event&& event) {
  if (!consumerFailed_) tellEnd(event);
}

/// Calls the consumer, unless it is retired.
template <class Event>
void TcpConduit::tellEnd(Event&& event) {
  if (!record_->hold()) return;
  core_->begin();
  try {
    event(record_->consumer());
  } catch (...) {
    consumerFailed_ = true;
    cause_ = EndCause::exception;
    logHandlerException(name_.c_str());
    core_->endConduitsSoon();
  }
  core_->release(record_);
}

}  // namespace tovik
