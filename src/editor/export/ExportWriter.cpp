#include "editor/export/ExportWriter.h"

#include "editor/export/MP3ExportWriter.h"
#include "editor/export/WavExportWriter.h"
#include "recording/RecordingFileSettings.h"

namespace sonmere {

Outcome<std::unique_ptr<ExportWriter>> makeExportWriter(ExportFile file, const ExportFormat& format,
                                                        const PCMFormat& audio, RecordingBitDepth depth) {
  if (format.kind == ExportFormat::Kind::mp3)
    return MP3ExportWriter::create(std::move(file), audio, format.bitrate);
  return WavExportWriter::create(std::move(file), wavFileSettings(audio.sampleRate, audio.channels, depth));
}

}  // namespace sonmere
