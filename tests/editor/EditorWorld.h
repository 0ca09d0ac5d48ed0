#pragma once

#include <gtest/gtest.h>
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "audio/file/AudioFileReader.h"
#include "base/VirtualRuntime.h"
#include "editor/EditorEngine.h"
#include "platform/simulated/SimulatedPlatform.h"
#include "support/TemporaryFolder.h"

namespace sonmere {

// An editor on a simulated machine, in virtual time, with files in a folder of its own.
struct EditorWorld {
  explicit EditorWorld(std::uint64_t seed = 1) : runtime(seed), platform((listen(), runtime), log) {
    host().plugStandardMachine();
  }

  SimulatedHost& host() { return platform.host(); }
  void wait(double seconds) { runtime.advance(fromSeconds(seconds)); }
  bool logged(const std::string& text) const {
    return std::ranges::any_of(lines, [&](const std::string& line) { return line.contains(text); });
  }
  int countLogged(const std::string& text) const {
    return int(std::ranges::count_if(lines, [&](const std::string& line) { return line.contains(text); }));
  }

  // A float WAV in which every sample differs from its neighbours and from every other place, so that one
  // frame too many or too few shows.
  std::string makeFile(const std::string& name, std::int64_t frames, int rate = 48000, int channels = 2,
                       int encoding = SF_FORMAT_FLOAT) {
    const std::string path = (folder / name).string();
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = channels;
    info.format = SF_FORMAT_WAV | encoding;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    EXPECT_TRUE(file) << sf_strerror(nullptr);
    const std::vector<float> samples = signal(frames, channels);
    EXPECT_EQ(sf_writef_float(file, samples.data(), frames), frames);
    sf_close(file);
    return path;
  }
  static std::vector<float> signal(std::int64_t frames, int channels = 2) {
    std::vector<float> samples(std::size_t(frames * channels));
    std::uint32_t state = 12345;
    for (float& sample : samples) {
      state = state * 1664525u + 1013904223u;
      // Never 0, so that silence is told from signal.
      sample = (float(state >> 8) / float(1 << 24) * 0.8f + 0.1f) * (state & 128 ? 1.0f : -1.0f);
    }
    return samples;
  }
  static std::vector<float> contentOf(const std::string& path) {
    auto reader = openAudioFile(path);
    if (!reader) {
      ADD_FAILURE() << reader.error().description;
      return {};
    }
    std::vector<float> all, block(4096 * (*reader)->format().channels);
    while (const std::uint32_t count = (*reader)->read(block.data(), 4096).value_or(0))
      all.insert(all.end(), block.begin(), block.begin() + count * (*reader)->format().channels);
    return all;
  }
  std::shared_ptr<EditorEngine> open(const std::string& path) {
    auto engine = EditorEngine::open(context, path);
    if (!engine) ADD_FAILURE() << engine.error().description;
    return engine ? *engine : nullptr;
  }

  TemporaryFolder folder;
  VirtualRuntime runtime;
  Log log;
  std::vector<std::string> lines;  // of level info and above
  SimulatedPlatform platform;
  MemorySettingsStore settings;
  NotificationCenter notifications;
  RenderFlags flags;
  std::unique_ptr<MicSend> micSend = std::make_unique<MicSend>();
  EngineContext context{runtime, log, settings, notifications, platform, flags, *micSend, Folders{}};

 private:
  void listen() {
    log.addSink([this](LogLevel level, const std::string& line) {
      if (level != LogLevel::debug) lines.push_back(line);
    });
  }
};

// What was heard, from the first sound to the last.
inline std::vector<float> sounding(const std::vector<float>& heard, std::uint32_t channels = 2) {
  const auto isSound = [](float sample) { return sample != 0; };
  const auto first = std::ranges::find_if(heard, isSound) - heard.begin();
  const auto last = heard.rend() - std::find_if(heard.rbegin(), heard.rend(), isSound);
  if (first >= last) return {};
  const auto wide = std::ptrdiff_t(channels);
  return {heard.begin() + first / wide * wide, heard.begin() + (last + wide - 1) / wide * wide};
}

// Which frame of the signal begins at each place of what was heard would be too much to print: where the two
// differ first, in samples; -1 when they are equal.
inline std::ptrdiff_t firstDifference(const std::vector<float>& a, const std::vector<float>& b) {
  const auto at = std::ranges::mismatch(a, b);
  if (at.in1 == a.end() && at.in2 == b.end()) return -1;
  return at.in1 - a.begin();
}

}  // namespace sonmere
