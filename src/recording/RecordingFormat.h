#pragma once

#include <optional>
#include <string_view>

namespace sonmere {

// Container of a recording. Its name is also its extension.
enum class RecordingFormat { wav, m4a };

constexpr const char* name(RecordingFormat format) { return format == RecordingFormat::wav ? "wav" : "m4a"; }
constexpr const char* fileExtension(RecordingFormat format) { return name(format); }
constexpr std::optional<RecordingFormat> recordingFormatNamed(std::string_view text) {
  if (text == "wav") return RecordingFormat::wav;
  if (text == "m4a") return RecordingFormat::m4a;
  return std::nullopt;
}

}  // namespace sonmere
