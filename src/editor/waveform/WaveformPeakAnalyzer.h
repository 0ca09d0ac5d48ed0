#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "base/Log.h"
#include "editor/track/WaveformEnvelope.h"

namespace sonmere {

// Finds the peaks of an audio file of any length in one pass. Threads: any that may wait for a disk; several
// at once.
class WaveformPeakAnalyzer {
 public:
  explicit WaveformPeakAnalyzer(Log& log) : log_(log) {}

  // RMS levels take as long again.
  enum class Detail { extremes, extremesAndLevels };
  // Nothing when the file can't be read at all, which is logged, or when `isCancelled` became true meanwhile.
  // Where reading fails on the way, which is logged too, the rest of the bins are 0: a damaged tail doesn't
  // lose what is before. `progress` is told the part that is done. A file of no frames gives no channels.
  std::optional<WaveformEnvelope> analyze(const std::string& url,
                                          const std::atomic<bool>* isCancelled = nullptr,
                                          const std::function<void(double fraction)>& progress = {},
                                          Detail detail = Detail::extremes) const;

  // Frames of a bin: 5000 bins a second below 60 s, 2000 below 600 s, 1000 above; at least 1.
  static std::int64_t binFrames(std::int64_t totalFrames, double sampleRate);

 private:
  Log& log_;
};

}  // namespace sonmere
