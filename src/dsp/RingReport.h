#pragma once

#include <cstdint>
#include <string>

#include "dsp/StereoRing.h"

namespace sonmere {

// One internal buffer at one moment, for the latency report. Counters run since its path started.
struct RingReport {
  std::string id;        // "route:", "monitor:" or nothing, then the app; "mic→bridge"
  double backlogMs = 0;  // audio waiting now
  double peakMs = 0;     // highest backlog
  std::int64_t underruns = 0;
  std::int64_t starves = 0;
  std::int64_t overflows = 0;
  std::int64_t reads = 0;
  std::int64_t writeFrames = 0;  // size of the latest write
  std::int64_t readFrames = 0;   // size of the latest read

  bool operator==(const RingReport&) const = default;
};

// Milliseconds that `samples` of interleaved stereo last; a rate that isn't above zero counts as 48000 Hz.
inline double stereoMilliseconds(std::int64_t samples, double sampleRate) {
  return double(samples / 2) / (sampleRate > 0 ? sampleRate : 48000.0) * 1000.0;
}

// The row of a stereo ring with the short set of counters. Threads: any; the counters may be a little stale.
inline RingReport ringReport(std::string id, const StereoRing& ring, double sampleRate) {
  const StereoRing::Reader& reader = ring.reader();
  RingReport row;
  row.id = std::move(id);
  row.backlogMs = stereoMilliseconds(reader.lastBacklog, sampleRate);
  row.peakMs = stereoMilliseconds(reader.maxBacklog, sampleRate);
  row.underruns = reader.misses();
  row.reads = reader.reads;
  row.readFrames = reader.reads > 0 ? reader.lastRead / 2 : 0;
  return row;
}

}  // namespace sonmere
