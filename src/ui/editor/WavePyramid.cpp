#include "ui/editor/WavePyramid.h"

#include <algorithm>

namespace sonmere {
namespace {

// A level of fewer bins saves nothing.
constexpr std::int64_t kLeastBins = 256;
// So many bins of a level are looked at rather than fewer of the next.
constexpr std::int64_t kLeastLooked = 4;

void join(WaveformBin& all, const WaveformBin& one) {
  all.minValue = std::min(all.minValue, one.minValue);
  all.maxValue = std::max(all.maxValue, one.maxValue);
}

}  // namespace

WavePyramid::WavePyramid(std::shared_ptr<const WaveformEnvelope> envelope) : envelope_(std::move(envelope)) {
  for (std::size_t level = 0; count(level) > kLeastBins; ++level) levels_.push_back(folded(level));
}

std::int64_t WavePyramid::count(std::size_t level) const {
  if (level > 0) return std::ssize(levels_[level - 1]);
  return envelope_->channels.empty() ? 0 : std::ssize(envelope_->channels.front());
}

WaveformBin WavePyramid::bin(std::size_t level, std::int64_t at) const {
  const auto i = static_cast<std::size_t>(at);
  if (level > 0) return levels_[level - 1][i];
  WaveformBin all = envelope_->channels.front()[i];
  for (std::size_t channel = 1; channel < envelope_->channels.size(); ++channel) {
    join(all, envelope_->channels[channel][i]);
  }
  return all;
}

std::vector<WaveformBin> WavePyramid::folded(std::size_t level) const {
  const std::int64_t below = count(level);
  std::vector<WaveformBin> bins(static_cast<std::size_t>((below + kFold - 1) / kFold));
  for (std::int64_t i = 0; i < std::ssize(bins); ++i) {
    WaveformBin all = bin(level, i * kFold);
    for (std::int64_t at = i * kFold + 1; at < std::min(below, (i + 1) * kFold); ++at)
      join(all, bin(level, at));
    bins[static_cast<std::size_t>(i)] = all;
  }
  return bins;
}

WaveformBin WavePyramid::extremes(std::int64_t from, std::int64_t until) const {
  std::int64_t width = envelope_->binFrames;
  std::size_t level = 0;
  while (level < levels_.size() && (until - from) / (width * kFold) >= kLeastLooked) {
    width *= kFold;
    ++level;
  }
  const std::int64_t bins = count(level);
  const std::int64_t first = std::max<std::int64_t>((from - envelope_->firstFrame) / width, 0);
  const std::int64_t last = std::min((until - 1 - envelope_->firstFrame) / width, bins - 1);
  if (from >= until || first > last) return {0, 0};
  WaveformBin all = bin(level, first);
  for (std::int64_t at = first + 1; at <= last; ++at) join(all, bin(level, at));
  return all;
}

}  // namespace sonmere
