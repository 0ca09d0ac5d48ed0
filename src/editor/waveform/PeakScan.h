#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "audio/file/AudioFileReader.h"
#include "dsp/kernels/PeakKernels.h"
#include "editor/track/PlainWav.h"

namespace sonmere {

// A file's samples as the search for peaks takes them: interleaved, in large pieces. Threads: one at a time.
class PeakScan {
 public:
  virtual ~PeakScan() = default;

  virtual PlainWav::Encoding encoding() const = 0;
  // What finds the extremes in these samples.
  PeakKernels::Find finder() const;
  virtual std::uint32_t bytesPerFrame() const = 0;
  // The next `frames` frames, less only at the end or before damage, with kPeakSlackBytes behind them; valid
  // until the next call.
  virtual Outcome<std::span<const std::uint8_t>> next(std::int64_t frames) = 0;

  // Straight from the file, without converting a sample.
  static std::unique_ptr<PeakScan> ofPlainWav(PlainWav wav, std::string path);
  static std::unique_ptr<PeakScan> ofReader(std::unique_ptr<AudioFileReader> reader);
};

}  // namespace sonmere
