#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "audio/file/AudioFileWriter.h"
#include "support/SizeLimit.h"

namespace sonmere {

inline AudioFileSettings aac(double sampleRate = 48000, std::uint32_t channels = 2) {
  AudioFileSettings settings;
  settings.encoding = AudioFileSettings::Encoding::aac;
  settings.sampleRate = sampleRate;
  settings.channels = channels;
  settings.bitRate = 192000;
  return settings;
}

inline PCMBuffer bufferOf(const PCMFormat& format, const std::vector<float>& interleaved) {
  const auto frames = std::uint32_t(interleaved.size() / format.channels);
  PCMBuffer buffer(format, frames + 5);
  buffer.setFrameLength(frames);
  for (std::uint32_t frame = 0; frame < frames; ++frame) {
    for (std::uint32_t channel = 0; channel < format.channels; ++channel) {
      buffer.channel(channel)[frame] = interleaved[frame * format.channels + channel];
    }
  }
  return buffer;
}

inline std::shared_ptr<AudioFileWriter> mustCreate(const std::string& path,
                                                   const AudioFileSettings& settings) {
  auto writer = createAudioFile(path, settings);
  if (!writer) ADD_FAILURE() << writer.error().description;
  return writer ? *writer : nullptr;
}

}  // namespace sonmere
