#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>

#include "base/RTScalar.h"
#include "dsp/RateChanges.h"
#include "dsp/Ring.h"
#include "dsp/StartLine.h"

namespace sonmere {

// The ring between a render path and a recorder's drain: 192,000 samples of mono or of interleaved stereo.
// The render writes and never looks at the reader; `written` lets the drain see that it was overtaken.
struct RecorderRing {
  explicit RecorderRing(int itsChannels = 2) : channels(itsChannels) {}

  const int channels;  // 1 or 2
  std::unique_ptr<float[]> buffer{new float[std::size_t(kRecorderRingSamples)]()};
  RTPosition writePos;
  RTPosition readPos;
  RTPosition written;                   // samples since creation, published after writePos
  RTScalar<std::int64_t> missedFrames;  // of cycles that the server left out between writes
  RateChanges rates;                    // none: all is at the rate of the file
  StartGate start;                      // the render's; its line is set before there is one

  // Render thread. Frames that were due between the last write and the next, and that nobody rendered.
  void noteMissed(std::int64_t frames) noexcept SONMERE_NONBLOCKING {
    if (written.loadRelaxed() > 0) missedFrames.add(frames);
  }
  // Render thread. What is written from now on is at this rate in Hz.
  void noteRate(double rate) noexcept SONMERE_NONBLOCKING { rates.note(written.loadRelaxed(), rate); }
  // Render thread. Samples as the ring holds them.
  void write(const float* samples, std::int64_t n) noexcept SONMERE_NONBLOCKING {
    ringWrite<kRecorderRingSamples>(buffer.get(), writePos, readPos, samples, n);
    written.storeRelease(written.loadRelaxed() + n);
  }
  // Render thread. Frames of interleaved stereo; a ring of one channel takes the left.
  void writeStereo(const float* stereo, std::int64_t frames) noexcept SONMERE_NONBLOCKING {
    if (channels == 2) return write(stereo, 2 * frames);
    writePieces(frames, [stereo](std::int64_t i) { return stereo[2 * i]; });
  }
  // Render thread. Frames of one channel, which is both sides of stereo.
  void writeMono(const float* mono, std::int64_t frames) noexcept SONMERE_NONBLOCKING {
    if (channels == 1) return write(mono, frames);
    writePieces(2 * frames, [mono](std::int64_t i) { return mono[i / 2]; });
  }
  // Render thread.
  void writeSilence(std::int64_t frames) noexcept SONMERE_NONBLOCKING {
    writePieces(channels * frames, [](std::int64_t) { return 0.0f; });
  }

 private:
  template <class Sample>
  void writePieces(std::int64_t n, Sample sample) noexcept SONMERE_NONBLOCKING {
    std::array<float, 256> piece;
    for (std::int64_t done = 0; done < n;) {
      const std::int64_t count = std::min<std::int64_t>(n - done, std::int64_t(piece.size()));
      for (std::int64_t i = 0; i < count; ++i) piece[std::size_t(i)] = sample(done + i);
      write(piece.data(), count);
      done += count;
    }
  }
};

}  // namespace sonmere
