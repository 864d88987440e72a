#include "qk/logging/logger.h"

#include <pthread.h>

#include <cassert>
#include <cerrno>
#include <exception>
#include <locale>
#include <new>
#include <system_error>
#include <utility>

#include "qk/logging/handlers.h"

namespace qk::logging {

namespace {

constinit thread_local std::ostringstream* threadStream = nullptr;
/// True while a Logger on this thread writes to the thread's stream.
constinit thread_local bool lent = false;

/// A new stream has the global locale, which may group the digits of numbers.
std::ostringstream makeStream() {
  std::ostringstream stream;
  stream.imbue(std::locale::classic());
  return stream;
}

void destroyThreadStream(void* stream) {
  delete static_cast<std::ostringstream*>(stream);
  threadStream = nullptr;
}

/// A thread_local object would be destroyed before static objects and some of the thread's other objects, which may log
/// in their destructors. The value of a thread-specific key is destroyed after all thread_local objects; that of the
/// main thread is never destroyed.
pthread_key_t streamKey() {
  static const pthread_key_t key = [] {
    pthread_key_t made{};
    if (const int error = ::pthread_key_create(&made, destroyThreadStream); error != 0)
      throw std::system_error(error, std::system_category(), "qk::logging: pthread_key_create");
    return made;
  }();
  return key;
}

std::ostringstream* makeThreadStream() {
  auto stream = std::make_unique<std::ostringstream>(makeStream());
  if (::pthread_setspecific(streamKey(), stream.get()) != 0) throw std::bad_alloc();
  return stream.release();
}

/// Returns the thread's stream. If it can't be created, creates the spare stream and returns that.
std::ostringstream& threadStreamOr(std::optional<std::ostringstream>& spare) {
  try {
    return GetThreadLocalStream();
  } catch (const std::exception&) {
    return spare.emplace(makeStream());
  }
}

}  // namespace

std::ostringstream& GetThreadLocalStream() {
  if (threadStream == nullptr) threadStream = makeThreadStream();
  return *threadStream;
}

Logger::Logger(LogLevel level, unsigned int subCode, DecodeType decodeType, const std::shared_ptr<const Source>& source,
               const char* file, int line, const std::string& extra)
    : level_(level),
      subCode_(subCode),
      decodeType_(decodeType),
      source_(source),
      file_(file),
      line_(line),
      extra_(extra),
      stream_(threadStreamOr(spare_)) {
  if (!ownsStream() && std::exchange(lent, true)) spare_.emplace(makeStream()).swap(stream_);
}

Logger::~Logger() {
  assert(ownsStream() || &stream_ == threadStream);
  {
    const HandlerPin pin = ForceLockHandlers();
    LogMessage(level_, subCode_, decodeType_, source_, file_, line_, std::move(stream_).str(), extra_);
  }
  if (ownsStream()) return;
  // swap also restores what the log statement may have changed: formatting, error state, locale, exception mask.
  if (spare_) {
    stream_.swap(*spare_);
  } else {
    makeStream().swap(stream_);
    lent = false;
  }
}

}  // namespace qk::logging
