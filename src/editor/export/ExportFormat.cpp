#include "editor/export/ExportFormat.h"

#include <fmt/format.h>

#include "base/SettingsStore.h"

namespace sonmere {

const char* ExportFormat::fileExtension() const {
  switch (kind) {
    case Kind::wav:
      return "wav";
    case Kind::mp3:
      return "mp3";
    case Kind::flac:
      return "flac";
    case Kind::opus:
      return "opus";
    case Kind::m4a:
      return "m4a";
  }
  return "";
}

std::string name(const ExportFormat& format) {
  if (format.kind != ExportFormat::Kind::mp3) return format.fileExtension();
  return fmt::format("mp3-{}", kilobitsPerSecond(format.bitrate));
}

std::optional<ExportFormat> exportFormat(std::string_view text) {
  for (const ExportFormat& format : allExportFormats())
    if (text == name(format)) return format;
  return std::nullopt;
}

const std::vector<ExportFormat>& allExportFormats() {
  using enum ExportFormat::Kind;
  using enum MP3Bitrate;
  static const std::vector<ExportFormat> formats = {
      {wav}, {mp3, kbps128}, {mp3, kbps192}, {mp3, kbps256}, {mp3, kbps320}, {flac}, {opus}, {m4a}};
  return formats;
}

ExportFormat exportFormat(const SettingsStore& settings) {
  return exportFormat(settings.string(kExportFormatKey).value_or("")).value_or(ExportFormat{});
}

void setExportFormat(SettingsStore& settings, const ExportFormat& format) {
  settings.set(kExportFormatKey, name(format));
}

}  // namespace sonmere
