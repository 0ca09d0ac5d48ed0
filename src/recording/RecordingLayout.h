#pragma once

#include <optional>
#include <string_view>

#include "base/SettingsStore.h"

namespace sonmere {

// Which files a recording of the bridge makes: one of all that it plays; one with the microphone on the left
// and the apps on the right; or one of each beside that of all.
enum class RecordingLayout { mixed, dualMono, separateTracks };

inline constexpr RecordingLayout kRecordingLayouts[] = {RecordingLayout::mixed, RecordingLayout::dualMono,
                                                        RecordingLayout::separateTracks};
inline constexpr const char* kRecordingLayoutKey = "recording.layout";

constexpr const char* name(RecordingLayout layout) {
  return layout == RecordingLayout::mixed      ? "mixed"
         : layout == RecordingLayout::dualMono ? "dualMono"
                                               : "separateTracks";
}

inline std::optional<RecordingLayout> recordingLayoutNamed(std::string_view text) {
  for (const RecordingLayout layout : kRecordingLayouts)
    if (text == name(layout)) return layout;
  return std::nullopt;
}

// A missing or unknown value is `mixed`. Main thread.
inline RecordingLayout recordingLayout(const SettingsStore& settings) {
  const auto stored = settings.string(kRecordingLayoutKey);
  return stored ? recordingLayoutNamed(*stored).value_or(RecordingLayout::mixed) : RecordingLayout::mixed;
}

}  // namespace sonmere
