#pragma once

#include "base/SettingsStore.h"

namespace sonmere {

// Sample encoding of WAV recordings, stored under its name.
enum class RecordingBitDepth { int16, int24, float32 };

inline constexpr RecordingBitDepth kRecordingBitDepths[] = {
    RecordingBitDepth::int16, RecordingBitDepth::int24, RecordingBitDepth::float32};
inline constexpr const char* kRecordingBitDepthKey = "recording.bitDepth";

constexpr const char* name(RecordingBitDepth depth) {
  return depth == RecordingBitDepth::float32 ? "float32"
         : depth == RecordingBitDepth::int24 ? "int24"
                                             : "int16";
}

// A missing or unknown value means int16. Main thread.
inline RecordingBitDepth recordingBitDepth(const SettingsStore& settings) {
  const auto stored = settings.string(kRecordingBitDepthKey);
  for (const auto depth : {RecordingBitDepth::int24, RecordingBitDepth::float32})
    if (stored == name(depth)) return depth;
  return RecordingBitDepth::int16;
}

}  // namespace sonmere
