#include "editor/track/WaveformEnvelope.h"

#include <algorithm>

namespace sonmere {

WaveformBin extremes(const WaveformEnvelope& envelope, std::size_t channel, std::int64_t from,
                     std::int64_t until) {
  const LargeVector<WaveformBin>& bins = envelope.channels[channel];
  const auto count = std::int64_t(bins.size());
  from -= envelope.firstFrame;
  until -= envelope.firstFrame;
  const std::int64_t first = std::clamp<std::int64_t>(from / envelope.binFrames, 0, count);
  const std::int64_t last =
      std::clamp<std::int64_t>((until + envelope.binFrames - 1) / envelope.binFrames, first, count);
  if (first == last) return {};
  WaveformBin found = bins[std::size_t(first)];
  for (std::int64_t i = first + 1; i < last; ++i) {
    found.minValue = std::min(found.minValue, bins[std::size_t(i)].minValue);
    found.maxValue = std::max(found.maxValue, bins[std::size_t(i)].maxValue);
  }
  return found;
}

}  // namespace sonmere
