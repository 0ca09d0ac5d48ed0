#pragma once

#include <gtest/gtest.h>
#include <sndfile.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "audio/file/AudioFileReader.h"
#include "support/TemporaryFolder.h"

namespace sonmere {

// Interleaved noise, with full scale and silence among it.
inline std::vector<float> noise(std::size_t samples, unsigned seed = 1, float level = 1) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> value(-level, level);
  std::vector<float> result(samples);
  for (float& sample : result) sample = random() % 16 == 0 ? (random() % 2 ? -level : 0.0f) : value(random);
  return result;
}

// Written by the library, not by the program.
inline std::string makeAudioFile(const std::string& path, int format, int sampleRate, int channels,
                                 const std::vector<float>& samples) {
  SF_INFO info{};
  info.samplerate = sampleRate;
  info.channels = channels;
  info.format = format;
  SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
  EXPECT_TRUE(file) << sf_strerror(nullptr);
  sf_command(file, SFC_SET_CLIPPING, nullptr, SF_TRUE);
  EXPECT_EQ(sf_writef_float(file, samples.data(), sf_count_t(samples.size()) / channels),
            sf_count_t(samples.size()) / channels);
  sf_close(file);
  return path;
}

struct ReadBack {
  int sampleRate = 0, channels = 0, format = 0;
  std::vector<float> samples;  // interleaved
};
inline ReadBack readBack(const std::string& path) {
  SF_INFO info{};
  SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
  EXPECT_TRUE(file) << path << ": " << sf_strerror(nullptr);
  if (!file) return {};
  ReadBack result{info.samplerate, info.channels, info.format, {}};
  result.samples.resize(std::size_t(info.frames * info.channels));
  EXPECT_EQ(sf_readf_float(file, result.samples.data(), info.frames), info.frames);
  sf_close(file);
  return result;
}

inline std::string bytesIn(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// What another program prints.
inline std::string outputOf(const std::string& command) {
  std::string output;
  FILE* pipe = popen((command + " 2>/dev/null").c_str(), "r");
  std::array<char, 65536> block;
  for (std::size_t count; (count = fread(block.data(), 1, block.size(), pipe)) > 0;)
    output.append(block.data(), count);
  EXPECT_EQ(pclose(pipe), 0) << command;
  return output;
}

}  // namespace sonmere
