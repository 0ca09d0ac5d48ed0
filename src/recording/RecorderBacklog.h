#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "audio/file/PCMBuffer.h"
#include "base/RTScalar.h"
#include "dsp/RecorderRing.h"

namespace sonmere {

// The reading half of a recorder's ring. While a write to the file lasts, what the render adds can be moved
// out of the ring by somebody else, up to 30 seconds of it, and comes after the rest in its order. Threads:
// any but a render thread; `take` from one at a time.
class RecorderBacklog {
 public:
  static constexpr std::int64_t kMaxSeconds = 30;

  // `sampleRate` in Hz.
  RecorderBacklog(std::shared_ptr<RecorderRing> ring, double sampleRate);

  // The rate in Hz of what take() gives next, where it changes there.
  std::optional<double> takeRateChange();
  // Fills the block, of the ring's channels, with the oldest frames, as many as it has room for and are of
  // one rate; returns how many. They count as waiting until the next call, by when they are written.
  std::uint32_t take(PCMBuffer& block);
  // Moves what the ring holds here when the reader has left it to fill up. False once there is no room: then
  // the render overwrites what it finds.
  bool relieve();

  // Frames that are not written yet.
  std::int64_t waitingFrames() const;
  // Those of them that nobody has taken.
  std::int64_t untakenFrames() const;
  // Frames that the render overwrote before they were read: always whole rings.
  std::int64_t overwrittenFrames() const;
  // Frames of cycles that the server left out.
  std::int64_t missedFrames() const { return ring_->missedFrames; }

 private:
  std::int64_t ringSamples() const;
  std::int64_t lostSamples() const;
  // Samples since the ring's creation that come before the next.
  std::int64_t position() const;
  // Of so many samples that wait, those before the next change of the rate.
  std::int64_t samplesOfOneRate(std::int64_t waiting) const;
  void takeFromRing(PCMBuffer& block, std::uint32_t frames);
  void takeMoved(PCMBuffer& block, std::uint32_t frames);
  void advanceRing(std::int64_t samples);

  const std::shared_ptr<RecorderRing> ring_;
  const std::int64_t channels_;
  const std::int64_t maxMovedFrames_;
  mutable std::mutex mutex_;            // between readers; the render never waits for it
  std::deque<float> moved_;             // as in the ring
  std::int64_t takenFrames_ = 0;        // by the last take
  RTScalar<std::int64_t> samplesRead_;  // out of the ring
};

}  // namespace sonmere
