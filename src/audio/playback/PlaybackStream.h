#pragma once

#include <cstdint>
#include <memory>

#include "base/RTScalar.h"
#include "base/RealtimeScope.h"

namespace sonmere {

// One track of what plays: stereo frames that a worker reads ahead and a render thread takes. Positions are
// frames of the timeline that all tracks of a program share, so that a track which falls behind loses frames
// and stays in step with the others. One worker writes, one render thread reads.
class PlaybackStream {
 public:
  // A bit over a second at 48 kHz. A power of two.
  static constexpr std::int64_t kRingFrames = 65536;

  // The first frame written plays at `startFrame`, which may have passed when it is written.
  explicit PlaybackStream(std::int64_t startFrame) : writePos_(startFrame), readPos_(startFrame) {}

  // Worker. How many frames may be written now.
  std::int64_t room() const { return kRingFrames - (writePos_.loadRelaxed() - readPos_.loadAcquire()); }
  void write(const float* interleaved, std::int64_t frames);
  // Nothing more will be written.
  void finish() { end_.storeRelease(writePos_.loadRelaxed()); }
  std::int64_t writtenUpTo() const { return writePos_.loadRelaxed(); }

  // Render thread: adds what plays in the `frames` frames from `at` on.
  void mixInto(float* interleaved, std::int64_t at, std::int64_t frames) noexcept SONMERE_NONBLOCKING;

  // Threads: any. Whether the timeline at `at` has all of it behind.
  bool isPlayedOut(std::int64_t at) const {
    const std::int64_t end = end_.loadAcquire();
    return end != kUnknown && at >= end;
  }
  // Frames that were silent because the worker had not delivered them.
  std::int64_t lateFrames() const { return lateFrames_; }

 private:
  static constexpr std::int64_t kUnknown = INT64_MAX;
  static constexpr std::int64_t index(std::int64_t frame) { return 2 * (frame & (kRingFrames - 1)); }

  const std::unique_ptr<float[]> ring_{new float[std::size_t(2 * kRingFrames)]()};
  RTPosition writePos_;
  RTPosition end_{kUnknown};
  RTPosition readPos_;
  RTScalar<std::int64_t> lateFrames_{0};
};

}  // namespace sonmere
