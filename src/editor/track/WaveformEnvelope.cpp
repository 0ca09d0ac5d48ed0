#include "editor/track/WaveformEnvelope.h"

#include <algorithm>
#include <cmath>
#include <span>

namespace sonmere {

namespace {

template <class Value>
std::span<const Value> binsBetween(const WaveformEnvelope& envelope, const LargeVector<Value>& bins,
                                   std::int64_t from, std::int64_t until) {
  const auto count = std::int64_t(bins.size());
  from -= envelope.firstFrame;
  until -= envelope.firstFrame;
  const std::int64_t first = std::clamp<std::int64_t>(from / envelope.binFrames, 0, count);
  const std::int64_t last =
      std::clamp<std::int64_t>((until + envelope.binFrames - 1) / envelope.binFrames, first, count);
  return {bins.data() + first, std::size_t(last - first)};
}

}  // namespace

WaveformBin extremes(const WaveformEnvelope& envelope, std::size_t channel, std::int64_t from,
                     std::int64_t until) {
  const auto bins = binsBetween(envelope, envelope.channels[channel], from, until);
  if (bins.empty()) return {};
  WaveformBin found = bins.front();
  for (const WaveformBin& bin : bins) {
    found.minValue = std::min(found.minValue, bin.minValue);
    found.maxValue = std::max(found.maxValue, bin.maxValue);
  }
  return found;
}

float level(const WaveformEnvelope& envelope, std::size_t channel, std::int64_t from, std::int64_t until) {
  const auto bins = binsBetween(envelope, envelope.levels[channel], from, until);
  double squares = 0;
  for (const float rms : bins) squares += double(rms) * rms;
  return bins.empty() ? 0 : float(std::sqrt(squares / double(bins.size())));
}

}  // namespace sonmere
