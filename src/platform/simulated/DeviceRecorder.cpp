#include "platform/simulated/DeviceRecorder.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace sonmere {

namespace {
constexpr std::uint64_t kHashPrime = 0x9E3779B97F4A7C15u;

// Four maxima side by side: recorders hear hours of sound.
float peakOf(const float* samples, std::size_t count) {
  float peaks[4] = {};
  std::size_t i = 0;
  for (; i + 4 <= count; i += 4)
    for (std::size_t lane = 0; lane < 4; ++lane) {
      const float magnitude = std::abs(samples[i + lane]);
      peaks[lane] = peaks[lane] > magnitude ? peaks[lane] : magnitude;
    }
  for (; i < count; ++i) peaks[0] = std::max(peaks[0], std::abs(samples[i]));
  return std::max(std::max(peaks[0], peaks[1]), std::max(peaks[2], peaks[3]));
}
}  // namespace

void DeviceRecorder::append(const float* interleaved, std::uint32_t frames, std::uint32_t channels) {
  const std::lock_guard lock(mutex_);
  channels_ = channels;
  frames_ += frames;
  const std::size_t count = std::size_t(frames) * channels;
  peak_ = std::max(peak_, peakOf(interleaved, count));
  std::uint64_t hash = hash_;
  for (std::size_t i = 0; i < count; i += 2) {
    std::uint64_t word = 0;
    std::memcpy(&word, interleaved + i, std::min<std::size_t>(2, count - i) * sizeof(float));
    hash = (hash ^ word) * kHashPrime;
  }
  hash_ = hash;
  if (keep_ == Keep::samples) samples_.insert(samples_.end(), interleaved, interleaved + count);
}

std::uint64_t DeviceRecorder::frameCount() const {
  const std::lock_guard lock(mutex_);
  return frames_;
}

std::uint64_t DeviceRecorder::hash() const {
  const std::lock_guard lock(mutex_);
  return hash_;
}

float DeviceRecorder::takePeak() {
  const std::lock_guard lock(mutex_);
  return std::exchange(peak_, 0.0f);
}

std::uint32_t DeviceRecorder::channels() const {
  const std::lock_guard lock(mutex_);
  return channels_;
}

std::vector<float> DeviceRecorder::samples() const { return samplesFrom(0); }

std::vector<float> DeviceRecorder::takeSamples() {
  const std::lock_guard lock(mutex_);
  return std::exchange(samples_, {});
}

std::vector<float> DeviceRecorder::samplesFrom(std::uint64_t frame) const {
  const std::lock_guard lock(mutex_);
  const std::size_t start = std::min<std::size_t>(samples_.size(), frame * channels_);
  return {samples_.begin() + std::ptrdiff_t(start), samples_.end()};
}

}  // namespace sonmere
