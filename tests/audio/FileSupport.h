#pragma once

#include <gtest/gtest.h>
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

#include "audio/file/AudioFileReader.h"

namespace sonmere {

// Reads the rest, in blocks of a size that no codec uses.
inline std::vector<float> readAll(AudioFileReader& reader, std::uint32_t blockFrames = 1013) {
  std::vector<float> all, block(std::size_t(blockFrames) * reader.format().channels);
  for (;;) {
    const auto count = reader.read(block.data(), blockFrames);
    if (!count) ADD_FAILURE() << count.error().description;
    if (!count || *count == 0) return all;
    all.insert(all.end(), block.begin(), block.begin() + *count * reader.format().channels);
  }
}

inline std::unique_ptr<AudioFileReader> mustOpen(const std::string& path) {
  auto reader = openAudioFile(path);
  if (!reader) {
    ADD_FAILURE() << reader.error().description;
    return nullptr;
  }
  return std::move(*reader);
}

// Interleaved; channel c has 1 / (c + 1) of the level.
inline std::vector<float> tone(double frequency, double sampleRate, std::size_t frames,
                               std::uint32_t channels, double level = 0.5) {
  std::vector<float> samples(frames * channels);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const double phase = 2 * std::numbers::pi * frequency * double(i / channels) / sampleRate;
    samples[i] = float(level / double(i % channels + 1) * std::sin(phase));
  }
  return samples;
}

// What remains of one channel when the expected tone is taken away, in dB relative to the tone. The first and
// last `margin` frames are left out. An offset of one frame or a wrong level shows as well as noise does.
inline double residualDb(const std::vector<float>& samples, std::uint32_t channels, std::uint32_t channel,
                         double frequency, double sampleRate, std::size_t margin) {
  const std::size_t frames = samples.size() / channels;
  const std::vector<float> expected = tone(frequency, sampleRate, frames, channels);
  double signal = 0, rest = 1e-30;
  for (std::size_t frame = margin; frame + margin < frames; ++frame) {
    const double want = expected[frame * channels + channel];
    const double got = samples[frame * channels + channel];
    signal += want * want;
    rest += (got - want) * (got - want);
  }
  return 10 * std::log10(rest / signal);
}

inline void writeWithLibrary(const std::string& path, int format, int sampleRate, int channels,
                             const std::vector<float>& samples) {
  SF_INFO info{};
  info.samplerate = sampleRate;
  info.channels = channels;
  info.format = format;
  SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
  ASSERT_TRUE(file) << sf_strerror(nullptr);
  const auto frames = sf_count_t(samples.size()) / channels;
  EXPECT_EQ(sf_writef_float(file, samples.data(), frames), frames);
  sf_close(file);
}

inline std::string bytesOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void writeBytes(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary).write(bytes.data(), std::streamsize(bytes.size()));
}

}  // namespace sonmere
