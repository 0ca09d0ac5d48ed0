#include "platform/simulated/SincResampler.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

namespace sonmere {

namespace {
constexpr std::uint32_t kPhases = 512;
constexpr std::uint32_t kTapsAtUnity = 64;
constexpr double kKaiserBeta = 9.0;  // -90 dB
constexpr double kPassBand = 0.93;   // of the lower Nyquist frequency

double besselI0(double x) {
  double sum = 1, term = 1;
  for (int k = 1; k < 40; ++k) {
    term *= (x / (2 * k)) * (x / (2 * k));
    sum += term;
  }
  return sum;
}
}  // namespace

SincResampler::SincResampler(std::uint32_t channels, double inputPerOutput, std::uint32_t maximumInput)
    : channels_(channels), step_(inputPerOutput) {
  const double stretch = std::max(1.0, inputPerOutput);
  taps_ = (std::uint32_t(std::ceil(kTapsAtUnity * stretch)) + 7) & ~7u;
  makeTable(kPassBand / stretch);
  coefficients_.resize(std::size_t(taps_) * (channels_ == 2 ? 2 : 1));
  capacity_ = 2 * (taps_ + maximumInput) + 64;
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

void SincResampler::makeTable(double cutoff) {
  table_.resize(std::size_t(kPhases + 1) * taps_);
  const double half = taps_ / 2.0;
  for (std::uint32_t phase = 0; phase <= kPhases; ++phase) {
    float* row = table_.data() + std::size_t(phase) * taps_;
    double sum = 0;
    std::vector<double> values(taps_);
    for (std::uint32_t tap = 0; tap < taps_; ++tap) {
      const double x = double(tap) - (half - 1) - double(phase) / kPhases;
      const double edge = x / half;
      const double window =
          std::abs(edge) < 1 ? besselI0(kKaiserBeta * std::sqrt(1 - edge * edge)) / besselI0(kKaiserBeta) : 0;
      const double angle = std::numbers::pi * x * cutoff;
      values[tap] = window * (std::abs(angle) < 1e-12 ? 1.0 : std::sin(angle) / angle);
      sum += values[tap];
    }
    for (std::uint32_t tap = 0; tap < taps_; ++tap) row[tap] = float(values[tap] / sum);
  }
}

std::uint32_t SincResampler::inputNeeded(std::uint32_t outputFrames) const noexcept {
  if (outputFrames == 0) return 0;
  const double last = fraction_ + step_ * double(outputFrames - 1);
  const std::uint64_t end = index_ + std::uint64_t(last) + taps_;
  return end > filled_ ? std::uint32_t(end - filled_) : 0;
}

void SincResampler::push(const float* frames, std::uint32_t count) noexcept {
  if (filled_ + count > capacity_) dropConsumed();
  count = std::min(count, capacity_ - filled_);
  std::memcpy(history_.data() + std::size_t(filled_) * channels_, frames,
              std::size_t(count) * channels_ * sizeof(float));
  filled_ += count;
}

void SincResampler::dropConsumed() noexcept {
  const std::uint32_t consumed = std::min(index_, filled_);
  std::memmove(history_.data(), history_.data() + std::size_t(consumed) * channels_,
               std::size_t(filled_ - consumed) * channels_ * sizeof(float));
  filled_ -= consumed;
  index_ -= consumed;
}

std::uint32_t SincResampler::pull(float* frames, std::uint32_t count) noexcept {
  std::uint32_t made = 0;
  for (; made < count && index_ + taps_ <= filled_; ++made) {
    interpolate(fraction_);
    filterFrame(history_.data() + std::size_t(index_) * channels_, frames + std::size_t(made) * channels_);
    fraction_ += step_;
    const double whole = std::floor(fraction_);
    index_ += std::uint32_t(whole);
    fraction_ -= whole;
  }
  return made;
}

void SincResampler::interpolate(double fraction) noexcept {
  const double position = fraction * kPhases;
  const auto phase = std::min(std::uint32_t(position), kPhases - 1);
  const auto weight = float(position - phase);
  const float* low = table_.data() + std::size_t(phase) * taps_;
  const float* high = low + taps_;
  float* out = coefficients_.data();
  if (channels_ == 2) {
    for (std::uint32_t tap = 0; tap < taps_; ++tap)
      out[2 * tap] = out[2 * tap + 1] = low[tap] + weight * (high[tap] - low[tap]);
  } else {
    for (std::uint32_t tap = 0; tap < taps_; ++tap) out[tap] = low[tap] + weight * (high[tap] - low[tap]);
  }
}

void SincResampler::filterFrame(const float* history, float* out) const noexcept {
  const float* coefficients = coefficients_.data();
  if (channels_ == 2) {
    // Eight sums side by side, so that the compiler may use vectors without changing any order of addition.
    float sums[8] = {};
    for (std::uint32_t i = 0; i < 2 * taps_; i += 8)
      for (std::uint32_t lane = 0; lane < 8; ++lane) sums[lane] += coefficients[i + lane] * history[i + lane];
    out[0] = (sums[0] + sums[2]) + (sums[4] + sums[6]);
    out[1] = (sums[1] + sums[3]) + (sums[5] + sums[7]);
    return;
  }
  for (std::uint32_t channel = 0; channel < channels_; ++channel) {
    float sum = 0;
    for (std::uint32_t tap = 0; tap < taps_; ++tap)
      sum += coefficients[tap] * history[std::size_t(tap) * channels_ + channel];
    out[channel] = sum;
  }
}

}  // namespace sonmere
