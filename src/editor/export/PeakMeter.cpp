#include "editor/export/PeakMeter.h"

#include <cmath>

#include "editor/export/ExportProgress.h"
#include "editor/export/SessionExporter.h"
#include "editor/track/BlockSource.h"

namespace sonmere {

Outcome<float> measurePeak(BlockSource& source, ExportProgress& progress) {
  progress.begin(source.length());
  PCMBuffer block(source.format(), kSourceBlockFrames);
  float peak = 0;
  while (true) {
    if (progress.isCancelled())
      return std::unexpected(Error{kExportCancelledDomain, 1, "measuring the peak was cancelled"});
    if (auto read = source.read(block, block.frameCapacity()); !read) return std::unexpected(read.error());
    if (block.frameLength() == 0) {
      progress.note(source.notes());
      return peak;
    }
    for (std::uint32_t channel = 0; channel < block.format().channels; ++channel)
      for (std::uint32_t i = 0; i < block.frameLength(); ++i) {
        const float magnitude = std::fabs(block.channel(channel)[i]);
        if (magnitude > peak) peak = magnitude;  // never for what is no number
      }
    progress.advance(block.frameLength());
  }
}

}  // namespace sonmere
