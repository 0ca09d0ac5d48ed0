#pragma once

namespace sonmere {

// Container of a recording. Its name is also its extension.
enum class RecordingFormat { wav, m4a };

constexpr const char* name(RecordingFormat format) { return format == RecordingFormat::wav ? "wav" : "m4a"; }
constexpr const char* fileExtension(RecordingFormat format) { return name(format); }

}  // namespace sonmere
