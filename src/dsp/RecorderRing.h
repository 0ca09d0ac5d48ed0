#pragma once

#include <cstdint>
#include <memory>

#include "base/RTScalar.h"
#include "dsp/Ring.h"

namespace sonmere {

// The ring between a render path and a recorder's drain: 192,000 samples of interleaved stereo. The render
// writes and never looks at the reader; `written` lets the drain see that it was overtaken.
struct RecorderRing {
  std::unique_ptr<float[]> buffer{new float[std::size_t(kRecorderRingSamples)]()};
  RTPosition writePos;
  RTPosition readPos;
  RTPosition written;                   // samples since creation, published after writePos
  RTScalar<std::int64_t> missedFrames;  // of cycles that the server left out between writes

  // Render thread. Frames that were due between the last write and the next, and that nobody rendered.
  void noteMissed(std::int64_t frames) noexcept SONMERE_NONBLOCKING {
    if (written.loadRelaxed() > 0) missedFrames.add(frames);
  }
  // Render thread.
  void write(const float* samples, std::int64_t n) noexcept SONMERE_NONBLOCKING {
    ringWrite<kRecorderRingSamples>(buffer.get(), writePos, readPos, samples, n);
    written.storeRelease(written.loadRelaxed() + n);
  }
};

}  // namespace sonmere
