#pragma once

#include <cstdint>

#include "audio/file/AudioFileSettings.h"
#include "recording/RecordingBitDepth.h"
#include "recording/RecordingFormat.h"

namespace sonmere {

constexpr AudioFileSettings wavFileSettings(double sampleRate, std::uint32_t channels,
                                            RecordingBitDepth depth) {
  AudioFileSettings settings;
  settings.encoding = AudioFileSettings::Encoding::linearPCM;
  settings.sampleRate = sampleRate;
  settings.channels = channels;
  settings.bitDepth = depth == RecordingBitDepth::int16 ? 16 : depth == RecordingBitDepth::int24 ? 24 : 32;
  settings.isFloat = depth == RecordingBitDepth::float32;
  return settings;
}

constexpr AudioFileSettings m4aFileSettings(double sampleRate) {
  AudioFileSettings settings;
  settings.encoding = AudioFileSettings::Encoding::aac;
  settings.sampleRate = sampleRate;
  settings.channels = 2;
  settings.bitRate = 192000;
  return settings;
}

// Bit depth and a single channel do not apply to m4a.
constexpr AudioFileSettings recordingFileSettings(RecordingFormat format, double sampleRate,
                                                  std::uint32_t channels, RecordingBitDepth depth) {
  return format == RecordingFormat::wav ? wavFileSettings(sampleRate, channels, depth)
                                        : m4aFileSettings(sampleRate);
}

// What a frame adds to the displayed size. The size of encoded audio isn't known frame by frame: 1 stands in
// for it.
constexpr std::int64_t bytesPerFrame(RecordingFormat format, std::uint32_t channels,
                                     RecordingBitDepth depth) {
  if (format == RecordingFormat::m4a) return 1;
  return channels * (depth == RecordingBitDepth::int16 ? 2 : depth == RecordingBitDepth::int24 ? 3 : 4);
}

}  // namespace sonmere
