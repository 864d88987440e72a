#include "pouring.h"

#include <cstdlib>
#include <stdexcept>

namespace tovik::ftp {

namespace {

using testing_support::LoopbackSocket;

constexpr long chunkBytes = 1L << 16U;
constexpr long patienceBytes = 256L << 20U;

std::string repeated(const std::string& block, long times) {
  std::string all;
  all.reserve(block.size() * static_cast<std::string::size_type>(times));
  for (long i = 0; i < times; ++i) all += block;
  return all;
}

long timesPerChunk(const std::string& block) { return chunkBytes / static_cast<long>(block.size()) + 1; }

}  // namespace

Misdeed pours(const std::string& block, long times) {
  const long atOnce = timesPerChunk(block);
  return [chunk = repeated(block, atOnce), rest = repeated(block, times % atOnce),
          chunks = times / atOnce](const LoopbackSocket& client) {
    for (long i = 0; i < chunks; ++i)
      if (!client.trySend(chunk)) return;
    static_cast<void>(client.trySend(rest));
  };
}

Misdeed poursForEver(const std::string& block) {
  return [chunk = repeated(block, timesPerChunk(block))](const LoopbackSocket& client) {
    for (long sent = 0; sent < patienceBytes; sent += static_cast<long>(chunk.size()))
      if (!client.trySend(chunk)) return;
    throw std::runtime_error("the client took 256 MiB");
  };
}

long floodSize() {
  const char* const given = std::getenv("TOVIK_HOSTILE_REPLIES");
  return given != nullptr ? std::atol(given) : 20'000;
}

}  // namespace tovik::ftp
