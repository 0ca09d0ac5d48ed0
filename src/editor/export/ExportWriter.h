#pragma once

#include <cstdint>
#include <memory>

#include "audio/file/PCMBuffer.h"
#include "base/Error.h"
#include "editor/export/ExportFile.h"
#include "editor/export/ExportFormat.h"
#include "recording/RecordingBitDepth.h"

namespace sonmere {

// Where an export puts its audio. Threads: one at a time, never a render thread.
class ExportWriter {
 public:
  virtual ~ExportWriter() = default;
  // Appends the frames of a buffer of the writer's rate and channel count.
  virtual Outcome<void> write(const PCMBuffer& buffer) = 0;
  // Completes the file; a second call does nothing. Without it the file is not usable.
  virtual Outcome<void> finish() = 0;
};

// Begins to fill a file. `depth` is for WAV.
Outcome<std::unique_ptr<ExportWriter>> makeExportWriter(ExportFile file, const ExportFormat& format,
                                                        const PCMFormat& audio, RecordingBitDepth depth);

}  // namespace sonmere
