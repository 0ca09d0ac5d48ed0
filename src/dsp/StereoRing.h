#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <utility>

#include "base/RTScalar.h"
#include "dsp/BacklogWatch.h"
#include "dsp/Ring.h"
#include "dsp/VectorMath.h"

namespace sonmere {

// What whoever hears along leaves unread at most, and after it has caught up, beyond the block that it reads
// next. In samples: 80 ms and 20 ms at 48 kHz.
constexpr std::int64_t kMostLagSamples = 7680;
constexpr std::int64_t kCaughtUpLagSamples = 1920;

// Where two clocks meet: what more than two blocks may wait before it is cut. In samples: 43 ms at 48 kHz.
constexpr std::int64_t kHopelessLagSamples = 4096;

// How much of what is `left` behind a block of n samples is skipped, in whole frames: down to a block and the
// trim's reserve, by an eighth of a block at most.
constexpr std::int64_t skipAcrossClocks(std::int64_t left, std::int64_t n) noexcept {
  constexpr std::int64_t kShortBlock = 2 * 260, kLeastStep = 64, kWholeFrames = 0x7FE;  // samples
  const std::int64_t beyond = left - (n + kTrimReserveSamples);
  if (beyond <= 0) return 0;
  return std::min(n < kShortBlock ? kLeastStep : n / 8, beyond) & kWholeFrames;
}

// Half a second of interleaved stereo on its way from one render thread to another. The writer has one half
// of it, each reader one of its own, and nobody calls another's; what the main thread asks for stands in
// `Requests`. Counters are in samples and may be read anywhere; a stale view costs a display its accuracy.
//
// Every sample is accounted for: written = read + skipped + still in the ring + lapped.
class StereoRing {
 public:
  static constexpr std::int64_t kCapacity = kTapRingSamples;

  // Any thread asks, the reader takes it once.
  struct Requests {
    // The next read begins at the live edge: what gathered before would play as stale sound and stay as
    // delay. Until then there is no reader to lap.
    RTScalar<bool> startLive{true};
    // The next read drops the backlog but for one block and a reserve.
    RTScalar<bool> trim{false};
  };

  // The writer's thread.
  class Writer {
   public:
    explicit Writer(StereoRing& ring) : ring_(ring) {}

    // A write that laps the reader goes ahead all the same, and is counted.
    void write(const float* samples, std::int64_t n) noexcept SONMERE_NONBLOCKING {
      note(n);
      ringCopyIn<kCapacity>(ring_.samples(), position_.loadRelaxed(), samples, n);
      advance(n);
    }
    // Each sample at this gain.
    void write(const float* samples, std::int64_t n, float gain) noexcept SONMERE_NONBLOCKING {
      note(n);
      float* const ring = ring_.samples();
      std::int64_t at = position_.loadRelaxed();
      for (std::int64_t i = 0; i < n; ++i) {
        ring[at] = samples[i] * gain;
        at = at + 1 == kCapacity ? 0 : at + 1;
      }
      advance(n);
    }

    RTScalar<std::int64_t> writes;
    RTScalar<std::int64_t> lastWrite;
    RTScalar<std::int64_t> overflows;  // writes that would lap the reader
    RTScalar<std::int64_t> written;

   private:
    friend class StereoRing;
    // The readers' positions decide nothing but the count: loading them orders what they have copied before
    // what overwrites it one lap later.
    void note(std::int64_t n) noexcept SONMERE_NONBLOCKING {
      (void)ring_.readers_[1].position_.loadAcquire();
      const std::int64_t waiting = ring_.available();
      if (!ring_.requests.startLive && waiting + n >= kCapacity) overflows.add(1);
      writes.add(1);
      lastWrite = n;
    }
    void advance(std::int64_t n) noexcept SONMERE_NONBLOCKING {
      position_.storeRelease((position_.loadRelaxed() + n) % kCapacity);
      written.add(n);
    }

    StereoRing& ring_;
    RTPosition position_;
  };

  // A reader's thread.
  class Reader {
   public:
    explicit Reader(StereoRing& ring) : ring_(ring) {}

    // Drops all but the newest `keep` samples if a live start was asked for; whether it was.
    bool startIfAsked(std::int64_t keep) noexcept SONMERE_NONBLOCKING {
      if (!ring_.requests.startLive || !ring_.requests.startLive.exchange(false)) return false;
      dropAllBut(keep);
      seenWrites_ = ring_.writer.writes;
      lastBacklog = 0;
      return true;
    }
    // Drops the backlog down to a block of n samples and a reserve, if that was asked for.
    void trimIfAsked(std::int64_t n) noexcept SONMERE_NONBLOCKING {
      if (ring_.requests.trim && ring_.requests.trim.exchange(false)) dropAllBut(n + kTrimReserveSamples);
    }
    // Something has disturbed the path: what it leaves in the ring for good goes.
    void noteInterruption() noexcept SONMERE_NONBLOCKING { backlogWatch_.noteInterruption(); }
    // Takes n samples; false when there are fewer, which takes none. The wait for the first audio is no miss.
    bool pull(float* target, std::int64_t n, double sampleRate) noexcept SONMERE_NONBLOCKING;
    // The same where the two sides have clocks of their own: what is left beyond the trim's reserve is drawn
    // in by small skips, and a backlog beyond hope is cut at once.
    bool pullAcrossClocks(float* target, std::int64_t n) noexcept SONMERE_NONBLOCKING;
    // Drops all there is.
    void skipToLive() noexcept SONMERE_NONBLOCKING { dropAllBut(0); }
    // Adds n samples at this gain to `target`; false when there are fewer, which takes none. It stays near
    // the live edge: what lags more than kMostLagSamples skips to kCaughtUpLagSamples first.
    bool addLive(float* target, std::int64_t n, float gain) noexcept SONMERE_NONBLOCKING;

    RTScalar<std::int64_t> reads;        // pulls that got their samples
    RTScalar<std::int64_t> underruns;    // those that did not though writes arrived since the one before
    RTScalar<std::int64_t> starves;      // those that did not, with no write since the one before
    RTScalar<std::int64_t> lastRead;     // asked for by the latest pull
    RTScalar<std::int64_t> lastBacklog;  // left after the latest pull
    RTScalar<std::int64_t> maxBacklog;
    RTScalar<std::int64_t> read;
    RTScalar<std::int64_t> skipped;    // dropped on purpose
    RTScalar<std::int64_t> hardTrims;  // cuts of a backlog beyond hope

    std::int64_t misses() const noexcept { return underruns + starves; }

   private:
    friend class StereoRing;
    void dropAllBut(std::int64_t keep) noexcept SONMERE_NONBLOCKING;
    void noteMiss(bool hasDelivered) noexcept SONMERE_NONBLOCKING {
      if (reads > 0) (hasDelivered ? underruns : starves).add(1);
    }
    void noteRead(std::int64_t n, std::int64_t left) noexcept SONMERE_NONBLOCKING {
      reads.add(1);
      lastBacklog = left;
      maxBacklog.raiseTo(left);
      read.add(n);
    }

    StereoRing& ring_;
    RTPosition position_;
    std::int64_t seenWrites_ = 0;  // the writer's count at the latest pull
    BacklogWatch backlogWatch_;
  };

  StereoRing() : samples_(new float[std::size_t(kCapacity)]()) {}
  StereoRing(const StereoRing&) = delete;
  StereoRing& operator=(const StereoRing&) = delete;

  Requests requests;
  Writer writer{*this};
  Reader& reader() noexcept { return readers_[0]; }
  const Reader& reader() const noexcept { return readers_[0]; }
  // Of a ring that is recorded as well as heard.
  Reader& secondReader() noexcept { return readers_[1]; }

  // For the first reader. Threads: any.
  std::int64_t available() const noexcept SONMERE_NONBLOCKING { return availableTo(readers_[0]); }
  // Lost because the writer lapped the first reader. Exact while neither runs.
  std::int64_t lapped() const { return writer.written - reader().read - reader().skipped - available(); }
  // The oldest sample is at 0 of the first lap. Threads: any, for looks.
  const float* data() const noexcept { return samples_.get(); }

 private:
  static void ringAdd(float* target, const float* source, std::int64_t n,
                      float gain) noexcept SONMERE_NONBLOCKING {
    if (gain == 1.0f) return addTo(target, source, std::size_t(n));
    for (std::int64_t i = 0; i < n; ++i) target[i] += source[i] * gain;
  }
  float* samples() noexcept { return samples_.get(); }
  std::int64_t availableTo(const Reader& reader) const noexcept SONMERE_NONBLOCKING {
    return ringAvailable<kCapacity>(writer.position_.loadAcquire(), reader.position_.loadAcquire());
  }

  const std::unique_ptr<float[]> samples_;
  std::array<Reader, 2> readers_{Reader(*this), Reader(*this)};
};

inline bool StereoRing::Reader::pull(float* target, std::int64_t n,
                                     double sampleRate) noexcept SONMERE_NONBLOCKING {
  const std::int64_t at = position_.loadRelaxed();
  const std::int64_t left = ringAvailable<kCapacity>(ring_.writer.position_.loadAcquire(), at) - n;
  const std::int64_t writes = ring_.writer.writes;
  const bool hasDelivered = writes != seenWrites_;
  seenWrites_ = writes;
  const std::int64_t surplus = backlogWatch_.surplus(left, n, sampleRate);
  lastRead = n;
  if (left < 0) return noteMiss(hasDelivered), false;
  ringCopyOut<kCapacity>(ring_.samples(), at, target, n);
  position_.storeRelease((at + n + surplus) % kCapacity);
  noteRead(n, left);
  if (surplus > 0) skipped.add(surplus);
  return true;
}

inline bool StereoRing::Reader::pullAcrossClocks(float* target, std::int64_t n) noexcept SONMERE_NONBLOCKING {
  if (ring_.availableTo(*this) > 2 * n + kHopelessLagSamples) {
    dropAllBut(n + kTrimReserveSamples);
    hardTrims.add(1);
  }
  const std::int64_t writes = ring_.writer.writes;
  const bool hasDelivered = std::exchange(seenWrites_, writes) != writes;
  const std::int64_t at = position_.loadRelaxed(), left = ring_.availableTo(*this) - n;
  lastRead = n;
  if (left < 0) return noteMiss(hasDelivered), false;
  ringCopyOut<kCapacity>(ring_.samples(), at, target, n);
  const std::int64_t extra = skipAcrossClocks(left, n);
  position_.storeRelease((at + n + extra) % kCapacity);
  noteRead(n, left);
  if (extra > 0) skipped.add(extra);
  return true;
}

inline bool StereoRing::Reader::addLive(float* target, std::int64_t n,
                                        float gain) noexcept SONMERE_NONBLOCKING {
  if (startIfAsked(0)) return false;
  if (ring_.availableTo(*this) > n + kMostLagSamples) dropAllBut(n + kCaughtUpLagSamples);
  const std::int64_t writes = ring_.writer.writes;
  const bool hasDelivered = std::exchange(seenWrites_, writes) != writes;
  const std::int64_t left = ring_.availableTo(*this) - n;
  lastRead = n;
  if (left < 0) return noteMiss(hasDelivered), false;
  const std::int64_t at = position_.loadRelaxed(), head = std::min(n, kCapacity - at);
  ringAdd(target, ring_.samples() + at, head, gain);
  ringAdd(target + head, ring_.samples(), n - head, gain);
  position_.storeRelease((at + n) % kCapacity);
  noteRead(n, left);
  return true;
}

inline void StereoRing::Reader::dropAllBut(std::int64_t keep) noexcept SONMERE_NONBLOCKING {
  const std::int64_t end = ring_.writer.position_.loadAcquire();
  const std::int64_t available = ringAvailable<kCapacity>(end, position_.loadRelaxed());
  if (available <= keep) return;
  position_.storeRelease((end - keep + kCapacity) % kCapacity);
  skipped.add(available - keep);
}

}  // namespace sonmere
