#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <memory>
#include <string>
#include <vector>

#include "audio/file/AudioFileWriter.h"

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

// Limits the size of files that this process may write, as a full disk would.
class SizeLimit {
 public:
  explicit SizeLimit(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    ::getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{bytes, before_.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~SizeLimit() {
    ::setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }

 private:
  rlimit before_{};
  void (*handler_)(int);
};

}  // namespace sonmere
