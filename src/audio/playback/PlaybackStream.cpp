#include "audio/playback/PlaybackStream.h"

#include <algorithm>

namespace sonmere {

void PlaybackStream::write(const float* interleaved, std::int64_t frames) {
  const std::int64_t from = writePos_.loadRelaxed();
  const std::int64_t head = std::min(frames, kRingFrames - (from & (kRingFrames - 1)));
  std::copy_n(interleaved, 2 * head, ring_.get() + index(from));
  std::copy_n(interleaved + 2 * head, 2 * (frames - head), ring_.get());
  writePos_.storeRelease(from + frames);
}

void PlaybackStream::mixInto(float* interleaved, std::int64_t at,
                             std::int64_t frames) noexcept SONMERE_NONBLOCKING {
  const std::int64_t end = end_.loadAcquire();
  const std::int64_t written = writePos_.loadAcquire();
  const std::int64_t read = readPos_.loadRelaxed();
  const std::int64_t stop = std::min(at + frames, written);
  const std::int64_t begin = std::max(at, read);
  const float* ring = ring_.get();
  for (std::int64_t frame = begin; frame < stop; ++frame) {
    float* out = interleaved + 2 * (frame - at);
    out[0] += ring[index(frame)];
    out[1] += ring[index(frame) + 1];
  }
  const std::int64_t missing = std::min(at + frames, end) - std::max(begin, written);
  if (missing > 0) lateFrames_.add(missing);
  readPos_.storeRelease(std::max(read, stop));
}

}  // namespace sonmere
