#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdint>

#include "KnownSignal.h"
#include "audio/device/AudioTypes.h"

namespace sonmere {

// Frames between two impulses of the signal.
constexpr std::int64_t kImpulseDistance = 12000;

inline KnownSignal impulseSignal() {
  KnownSignal impulses(60);
  for (std::size_t i = 0; i < impulses.samples.size(); ++i)
    impulses.samples[i] = i % std::size_t(2 * kImpulseDistance) < 2 ? 0.5f : 0.0f;
  return impulses;
}

// Where loud samples stood on the server's clock: cycle's start and frame within it. Audio thread writes.
struct Impulses {
  struct Place {
    std::uint64_t cycle = 0;  // ns
    std::uint32_t frame = 0;

    std::int64_t frames() const { return std::int64_t(std::llround(double(cycle) * 48e-6)) + frame; }
  };
  std::array<Place, 256> places;
  std::atomic<std::size_t> count{0};

  void look(const AudioTimeStamp& now, const AudioBuffer& buffer) noexcept {
    const std::uint32_t frames = buffer.byteSize / 4 / buffer.channels;
    for (std::uint32_t i = 0; i < frames; ++i) {
      const std::size_t n = count.load(std::memory_order_relaxed);
      if (std::abs(buffer.data[i * buffer.channels]) < 0.4f || n == places.size()) continue;
      places[n] = {now.hostTime, i};
      count.store(n + 1, std::memory_order_release);
    }
  }
  // The I/O procedure that looks at the input.
  static OSStatus hear(void* refcon, const AudioTimeStamp& now, AudioBufferList input,
                       AudioBufferList) noexcept {
    if (!input.empty()) static_cast<Impulses*>(refcon)->look(now, input[0]);
    return noErr;
  }
};

// Frames from an impulse where it was played to the same where it arrived, both looked at in the same cycles:
// the largest of several. Below 0: none can be told.
inline std::int64_t largestDelay(const Impulses& played, const Impulses& arrived) {
  std::int64_t largest = -1;
  for (std::size_t i = 2; i < arrived.count; ++i) {
    // The last one played before is the one that arrived.
    std::int64_t delay = -1;
    for (std::size_t k = 0; k < played.count; ++k) {
      const std::int64_t distance = arrived.places[i].frames() - played.places[k].frames();
      if (distance >= -2 && distance < kImpulseDistance - 1000) delay = std::max(distance, std::int64_t(0));
    }
    largest = std::max(largest, delay);
  }
  return largest;
}

}  // namespace sonmere
