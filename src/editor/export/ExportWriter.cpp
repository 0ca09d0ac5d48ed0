#include "editor/export/ExportWriter.h"

#include <algorithm>
#include <array>
#include <limits>

#include "editor/export/M4AExportWriter.h"
#include "editor/export/MP3ExportWriter.h"
#include "editor/export/SndExportWriter.h"
#include "editor/export/WavExportWriter.h"
#include "recording/RecordingFileSettings.h"

namespace sonmere {

namespace {

constexpr double kRateForAll = 48000;
constexpr std::uint32_t kFLACChannels = 8;
constexpr std::array kOpusRates = {8000.0, 12000.0, 16000.0, 24000.0, 48000.0};
constexpr std::array kAACRates = {7350.0,  8000.0,  11025.0, 12000.0, 16000.0, 22050.0, 24000.0,
                                  32000.0, 44100.0, 48000.0, 64000.0, 88200.0, 96000.0};

double fitting(const auto& rates, double rate) {
  return std::ranges::find(rates, rate) != rates.end() ? rate : kRateForAll;
}

}  // namespace

Outcome<std::unique_ptr<ExportWriter>> makeExportWriter(ExportFile file, const ExportFormat& format,
                                                        const ExportContent& content) {
  switch (format.kind) {
    case ExportFormat::Kind::mp3:
      return MP3ExportWriter::create(std::move(file), content.audio, format.bitrate);
    case ExportFormat::Kind::flac:
    case ExportFormat::Kind::opus:
      return SndExportWriter::create(std::move(file), format, content);
    case ExportFormat::Kind::m4a:
      return M4AExportWriter::create(std::move(file), content);
    case ExportFormat::Kind::wav:
      break;
  }
  return WavExportWriter::create(
      std::move(file), wavFileSettings(content.audio.sampleRate, content.audio.channels, content.depth),
      std::uint64_t(content.frames));
}

double exportRate(const ExportFormat& format, double sampleRate) {
  if (format.kind == ExportFormat::Kind::opus) return fitting(kOpusRates, sampleRate);
  if (format.kind == ExportFormat::Kind::m4a) return fitting(kAACRates, sampleRate);
  return sampleRate;
}

std::uint32_t exportChannels(const ExportFormat& format) {
  if (format.kind == ExportFormat::Kind::wav) return std::numeric_limits<std::uint32_t>::max();
  return format.kind == ExportFormat::Kind::flac ? kFLACChannels : 2;
}

}  // namespace sonmere
