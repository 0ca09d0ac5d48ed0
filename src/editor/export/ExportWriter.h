#pragma once

#include <cstdint>
#include <memory>

#include "audio/file/AudioFileTags.h"
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

// What a file is to hold.
struct ExportContent {
  PCMFormat audio;  // fits the format: see exportRate and exportChannels
  std::int64_t frames = 0;
  RecordingBitDepth depth = RecordingBitDepth::int16;  // of WAV and FLAC, which has 24 bits for float
  AudioFileTags tags = {};                             // not in WAV and MP3
};

// Begins to fill a file. Into a stream goes all but M4A.
Outcome<std::unique_ptr<ExportWriter>> makeExportWriter(ExportFile file, const ExportFormat& format,
                                                        const ExportContent& content);
// The rate of a file of this format for audio of a rate: the same wherever it can be, in Hz.
double exportRate(const ExportFormat& format, double sampleRate);
// How many channels it has room for.
std::uint32_t exportChannels(const ExportFormat& format);

}  // namespace sonmere
