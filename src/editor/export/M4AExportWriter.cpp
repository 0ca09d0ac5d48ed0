#include "editor/export/M4AExportWriter.h"

#include "editor/export/ExportDestination.h"
#include "recording/RecordingFileSettings.h"

namespace sonmere {

Outcome<std::unique_ptr<ExportWriter>> M4AExportWriter::create(ExportFile file,
                                                               const ExportContent& content) {
  if (file.isStream())
    return std::unexpected(
        Error{kExportDestinationDomain, 1,
              file.path() + " can't be M4A, whose index is made at the end; use wav, flac, mp3-192 or opus"});
  AudioFileSettings settings = m4aFileSettings(content.audio.sampleRate);
  settings.bitRate = settings.bitRate / int(settings.channels) * int(content.audio.channels);
  settings.channels = content.audio.channels;
  auto encoder = makeAACEncoder(settings);
  if (!encoder) return std::unexpected(encoder.error());
  const std::string path = file.path();
  auto writer = M4AFileWriter::start(file.release(), path, settings, std::move(*encoder));
  if (!writer) return std::unexpected(writer.error());
  (*writer)->setTags(content.tags);
  return std::unique_ptr<ExportWriter>(new M4AExportWriter(std::move(*writer)));
}

}  // namespace sonmere
