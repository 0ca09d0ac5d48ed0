#include "platform/pipewire/CycleCrossing.h"

#include <algorithm>
#include <cstring>

namespace sonmere {

namespace {
constexpr std::uint32_t kMaximumFrames = 8192;
}

CycleCrossing::CycleCrossing(std::uint32_t channels)
    : channels_(channels), block_(std::size_t(kMaximumFrames) * channels) {}

AudioBuffer CycleCrossing::block(std::uint32_t frames) noexcept {
  frames = std::min(frames, kMaximumFrames);
  const AudioBuffer buffer{channels_, frames * channels_ * std::uint32_t(sizeof(float)), block_.data()};
  std::memset(buffer.data, 0, buffer.byteSize);
  return buffer;
}

void CycleCrossing::write(const float* samples, std::int64_t count) noexcept {
  ringWrite<kTapRingSamples>(ring_.data(), writePos_, readPos_, samples, count);
}

bool CycleCrossing::read(float* target, std::int64_t count) noexcept {
  const std::int64_t written = writePos_.loadAcquire();
  std::int64_t at = readPos_.loadRelaxed();
  const std::int64_t waiting = ringAvailable<kTapRingSamples>(written, at);
  if (waiting < count) return false;
  // The streams may run in either order: up to two cycles wait without anything being late.
  if (waiting > 2 * count) at = (written - count + kTapRingSamples) % kTapRingSamples;
  ringCopyOut<kTapRingSamples>(ring_.data(), at, target, count);
  readPos_.storeRelease((at + count) % kTapRingSamples);
  return true;
}

}  // namespace sonmere
