#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "audio/file/PCMBuffer.h"
#include "base/Error.h"
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

// Starts a file at `destination`, in place of what is there; never through a symbolic link. `depth` is for
// WAV.
Outcome<std::unique_ptr<ExportWriter>> makeExportWriter(const std::string& destination,
                                                        const ExportFormat& format, const PCMFormat& audio,
                                                        RecordingBitDepth depth);

}  // namespace sonmere
