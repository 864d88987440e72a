#pragma once

#include <tovik/channel.h>
#include <tovik/data_aggregator.h>

#include <string>
#include <vector>

namespace fuzz {

/// Passes one piece of a byte stream to an aggregator, as a connection would: from storage that is freed afterwards,
/// and only while the channel is up.
inline void feed(tovik::DataAggregator& aggregator, const tovik::Channel& channel, const std::string& piece) {
  if (!channel.delivers() || piece.empty()) return;
  // Not a string: its spare capacity would hide a read past the end.
  std::vector<char> storage(piece.begin(), piece.end());
  tovik::Buffer buffer(storage.data(), storage.size());
  aggregator.handleBuffer(&buffer, nullptr);
}

}  // namespace fuzz
