#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "editor/export/MP3Bitrate.h"

namespace sonmere {

class SettingsStore;

inline constexpr const char* kExportFormatKey = "editor.exportFormat";

// What an export makes: a WAV, an MP3 of a constant bit rate, FLAC, Opus in Ogg, or AAC in M4A.
struct ExportFormat {
  enum class Kind { wav, mp3, flac, opus, m4a };
  Kind kind = Kind::wav;
  MP3Bitrate bitrate = MP3Bitrate::kbps192;  // MP3 only

  bool operator==(const ExportFormat& other) const {
    return kind == other.kind && (kind != Kind::mp3 || bitrate == other.bitrate);
  }
  const char* fileExtension() const;
};

// "wav", "flac", "opus", "m4a", or "mp3-" and the kilobits a second ("mp3-192").
std::string name(const ExportFormat& format);
// Nothing for any other text.
std::optional<ExportFormat> exportFormat(std::string_view name);
// In the order in which they are offered.
const std::vector<ExportFormat>& allExportFormats();

// The user's choice; a missing or unreadable value means WAV. Main thread.
ExportFormat exportFormat(const SettingsStore& settings);
void setExportFormat(SettingsStore& settings, const ExportFormat& format);

}  // namespace sonmere
