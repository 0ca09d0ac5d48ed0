#include "dsp/SincResampler.h"

#include <algorithm>
#include <cstring>

namespace sonmere {

namespace {
// Four sums side by side, spelled out: the compiler may not reorder additions by itself.
constexpr std::uint32_t kLanes = 4;
using Lanes [[gnu::vector_size(16)]] = float;

Lanes load(const float* from) {
  Lanes lanes;
  std::memcpy(&lanes, from, sizeof lanes);
  return lanes;
}

float total(Lanes lanes) { return (lanes[0] + lanes[1]) + (lanes[2] + lanes[3]); }

}  // namespace

SincResampler::SincResampler(std::uint32_t channels, double inputPerOutput, std::uint32_t maximumInput)
    : channels_(channels),
      step_(inputPerOutput),
      table_(SincTable::forRatio(inputPerOutput)),
      taps_(table_->taps()),
      capacity_(2 * (taps_ + maximumInput) + 64) {
  history_.resize(std::size_t(capacity_) * channels_);
  reset();
}

void SincResampler::reset() noexcept {
  std::fill(history_.begin(), history_.end(), 0.0f);
  // Half a filter of silence before the first frame: the first output lies on it.
  filled_ = taps_ / 2 - 1;
  index_ = 0;
  fraction_ = 0;
}

void SincResampler::resume(const float* frames, double fraction) noexcept {
  reset();
  fraction_ = fraction;
  filled_ = 0;
  push(frames, lookbehind());
}

std::uint32_t SincResampler::inputNeeded(std::uint32_t outputFrames) const noexcept {
  if (outputFrames == 0) return 0;
  // Pulling adds the steps up one by one: a sum just short of a whole frame must not come out short here.
  constexpr double kRounding = 1e-6;
  const double last = fraction_ + step_ * double(outputFrames - 1) + kRounding;
  const std::uint64_t end = index_ + std::uint64_t(last) + taps_;
  return end > filled_ ? std::uint32_t(end - filled_) : 0;
}

void SincResampler::push(const float* frames, std::uint32_t count) noexcept {
  if (filled_ + count > capacity_) dropConsumed();
  count = std::min(count, capacity_ - filled_);
  for (std::uint32_t channel = 0; channel < channels_; ++channel) {
    float* plane = history_.data() + std::size_t(channel) * capacity_ + filled_;
    for (std::uint32_t i = 0; i < count; ++i) plane[i] = frames[std::size_t(i) * channels_ + channel];
  }
  filled_ += count;
}

void SincResampler::dropConsumed() noexcept {
  const std::uint32_t consumed = std::min(index_, filled_);
  for (std::uint32_t channel = 0; channel < channels_; ++channel) {
    float* plane = history_.data() + std::size_t(channel) * capacity_;
    std::memmove(plane, plane + consumed, std::size_t(filled_ - consumed) * sizeof(float));
  }
  filled_ -= consumed;
  index_ -= consumed;
}

std::uint32_t SincResampler::pull(float* frames, std::uint32_t count) noexcept {
  std::uint32_t made = 0;
  for (; made < count && index_ + taps_ <= filled_; ++made) {
    float* out = frames + std::size_t(made) * channels_;
    std::uint32_t channel = 0;
    for (; channel + 2 <= channels_; channel += 2) filterPair(channel, out + channel);
    if (channel < channels_) {
      float pair[2];
      filterPair(channels_ > 1 ? channel - 1 : channel, pair);
      out[channel] = pair[channels_ > 1 ? 1 : 0];
    }
    fraction_ += step_;
    const auto whole = std::uint32_t(fraction_);
    index_ += whole;
    fraction_ -= whole;
  }
  return made;
}

// One frame of two neighbouring channels, or of the only one twice.
void SincResampler::filterPair(std::uint32_t channel, float* out) const noexcept {
  const double position = fraction_ * SincTable::kPhases;
  const auto phase = std::min(std::uint32_t(position), SincTable::kPhases - 1);
  const Lanes weight = Lanes{} + float(position - phase);
  const float* low = table_->row(phase);
  const float* high = table_->row(phase + 1);
  const float* first = history_.data() + std::size_t(channel) * capacity_ + index_;
  const float* second = channels_ > 1 ? first + capacity_ : first;
  Lanes sums[4] = {};
  for (std::uint32_t tap = 0; tap < taps_; tap += 2 * kLanes)
    for (std::uint32_t half = 0; half < 2; ++half) {
      const std::uint32_t at = tap + half * kLanes;
      const Lanes from = load(low + at);
      const Lanes coefficients = from + weight * (load(high + at) - from);
      sums[half] += coefficients * load(first + at);
      sums[2 + half] += coefficients * load(second + at);
    }
  out[0] = total(sums[0] + sums[1]);
  out[1] = total(sums[2] + sums[3]);
}

}  // namespace sonmere
