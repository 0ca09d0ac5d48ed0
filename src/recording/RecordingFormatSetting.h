#pragma once

#include <optional>

#include "base/SettingsStore.h"
#include "recording/RecordingFormat.h"

namespace sonmere {

// What recordings are made as when nobody says, stored under its name.
inline constexpr const char* kRecordingFormatKey = "recording.format";

// Nothing for a missing or unknown value. Main thread.
inline std::optional<RecordingFormat> storedRecordingFormat(const SettingsStore& settings) {
  const auto stored = settings.string(kRecordingFormatKey);
  for (const auto format : {RecordingFormat::wav, RecordingFormat::m4a})
    if (stored == name(format)) return format;
  return std::nullopt;
}

}  // namespace sonmere
