#include "editor/export/ExportWriter.h"

#include "editor/export/MP3ExportWriter.h"
#include "editor/export/WavExportWriter.h"
#include "recording/RecordingFileSettings.h"

namespace sonmere {

Outcome<std::unique_ptr<ExportWriter>> makeExportWriter(const std::string& destination,
                                                        const ExportFormat& format, const PCMFormat& audio,
                                                        RecordingBitDepth depth) {
  if (format.kind == ExportFormat::Kind::mp3)
    return MP3ExportWriter::create(destination, audio, format.bitrate);
  return WavExportWriter::create(destination, wavFileSettings(audio.sampleRate, audio.channels, depth));
}

}  // namespace sonmere
