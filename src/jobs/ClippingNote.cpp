#include "jobs/ClippingNote.h"

#include <fmt/format.h>

#include <cmath>

namespace sonmere {

bool holdsAllLevels(const ExportFormat& format, RecordingBitDepth depth) {
  return format.kind == ExportFormat::Kind::wav && depth == RecordingBitDepth::float32;
}

void noteClipping(const ExportFormat& format, RecordingBitDepth depth, ExportProgress& progress) {
  if (holdsAllLevels(format, depth) || progress.peak() <= 1) return;
  const char* const where =
      format.kind == ExportFormat::Kind::mp3 ? "clips where it is played" : "was clipped";
  progress.note(fmt::format("the loudest sample is {:.1f} dB above full scale and {}; a lower gain keeps it",
                            20 * std::log10(double(progress.peak())), where));
}

}  // namespace sonmere
