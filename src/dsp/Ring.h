#pragma once

#include <cstdint>
#include <cstring>

#include "base/RTScalar.h"
#include "base/RealtimeScope.h"

namespace sonmere {

// Single-writer, single-reader rings of float32 samples, without any object around them: the owner holds the
// block and the two positions, which count samples (not frames) from 0 up to the capacity. The writer never
// refuses and never looks at the reader; a reader that falls a whole ring behind is lapped, and a ring that
// full reads as empty. Render thread.

// Capacities in samples.
constexpr std::int64_t kTapRingSamples = 48000;        // taps, monitors: 0.5 s of stereo at 48 kHz
constexpr std::int64_t kRecorderRingSamples = 192000;  // bus and apps recorders: 2 s
constexpr std::int64_t kSpectrumRingSamples = 2048;    // mono
constexpr std::int64_t kMicRingSamples = 16384;        // 65536 bytes; its positions count bytes

template <std::int64_t Capacity>
constexpr std::int64_t ringAvailable(std::int64_t writePos,
                                     std::int64_t readPos) noexcept SONMERE_NONBLOCKING {
  return (writePos - readPos + Capacity) % Capacity;
}

// Copies n samples from `source` to position `at`, in two parts at the wrap. Of more than a ring's worth only
// the newest stay.
template <std::int64_t Capacity>
void ringCopyIn(float* ring, std::int64_t at, const float* source,
                std::int64_t n) noexcept SONMERE_NONBLOCKING {
  if (n > Capacity) {
    at = (at + n - Capacity) % Capacity;
    source += n - Capacity;
    n = Capacity;
  }
  const std::int64_t head = at + n > Capacity ? Capacity - at : n;
  std::memcpy(ring + at, source, std::size_t(head) * sizeof(float));
  std::memcpy(ring, source + head, std::size_t(n - head) * sizeof(float));
}

// Copies n samples, at most a ring's worth, from position `at`, in two parts at the wrap.
template <std::int64_t Capacity>
void ringCopyOut(const float* ring, std::int64_t at, float* target,
                 std::int64_t n) noexcept SONMERE_NONBLOCKING {
  const std::int64_t head = at + n > Capacity ? Capacity - at : n;
  std::memcpy(target, ring + at, std::size_t(head) * sizeof(float));
  std::memcpy(target + head, ring, std::size_t(n - head) * sizeof(float));
}

// Writer step. The reader's position decides nothing: loading it orders the reader's copies before what
// overwrites them one lap later.
template <std::int64_t Capacity>
void ringWrite(float* ring, RTPosition& writePos, const RTPosition& readPos, const float* source,
               std::int64_t n) noexcept SONMERE_NONBLOCKING {
  (void)readPos.loadAcquire();
  const std::int64_t at = writePos.loadRelaxed();
  ringCopyIn<Capacity>(ring, at, source, n);
  writePos.storeRelease((at + n) % Capacity);
}

}  // namespace sonmere
