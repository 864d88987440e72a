#pragma once

#include <tovik/channel.h>
#include <tovik/data_aggregator.h>

#include <string>
#include <vector>

namespace fuzz {

/// Gives an aggregator one piece of a byte stream, as a connection would: from storage that is gone afterwards, and not
/// at all once the channel is down.
inline void feed(tovik::DataAggregator& aggregator, const tovik::Channel& channel, const std::string& piece) {
  if (!channel.delivers() || piece.empty()) return;
  // No string: its room to grow would hide a read past the end.
  std::vector<char> storage(piece.begin(), piece.end());
  tovik::Buffer buffer(storage.data(), storage.size());
  aggregator.handleBuffer(&buffer, nullptr);
}

}  // namespace fuzz
