#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <random>

#include "Bench.h"
#include "audio/file/AudioFileWriter.h"
#include "support/TemporaryFolder.h"

namespace sonmere {
namespace {

constexpr double kSampleRate = 48000;
constexpr std::uint32_t kCallFrames = 1024;
constexpr int kCalls = int(60 * kSampleRate / kCallFrames);

// Tones under noise with a stroke now and then: what costs an encoder most.
std::vector<PCMBuffer> minuteOfMusic() {
  std::minstd_rand random(3);
  std::uniform_real_distribution<float> noise(-1, 1);
  std::vector<PCMBuffer> calls;
  for (int call = 0; call < kCalls; ++call) {
    PCMBuffer& buffer = calls.emplace_back(PCMFormat{kSampleRate, 2}, kCallFrames);
    buffer.setFrameLength(kCallFrames);
    for (std::uint32_t i = 0; i < kCallFrames; ++i) {
      const double time = double(call * std::int64_t(kCallFrames) + i) / kSampleRate;
      const double stroke = std::exp(-20 * std::fmod(time, 0.37));
      for (std::uint32_t channel = 0; channel < 2; ++channel)
        buffer.channel(channel)[i] =
            float(0.2 * std::sin(2764.6 * time) + 0.1 * std::sin(9000.0 * time + channel) +
                  (0.05 + 0.4 * stroke) * double(noise(random)));
    }
  }
  return calls;
}

// Processor time of each call of one recording, ns.
std::vector<std::int64_t> timesOfCalls(const std::string& path, const std::vector<PCMBuffer>& calls) {
  AudioFileSettings settings;
  settings.encoding = AudioFileSettings::Encoding::aac;
  settings.sampleRate = kSampleRate;
  settings.bitRate = 192000;
  std::filesystem::remove(path);
  const auto writer = createAudioFile(path, settings);
  if (!writer) benchFailed(writer.error().description);
  std::vector<std::int64_t> times;
  for (const PCMBuffer& buffer : calls) {
    const std::int64_t before = threadTime();
    const auto written = (*writer)->write(buffer);
    times.push_back(threadTime() - before);
    if (!written) benchFailed(written.error().description);
  }
  if (const auto closed = (*writer)->close(); !closed) benchFailed(closed.error().description);
  return times;
}

}  // namespace

// The cost of a call depends on what it encodes, so that each keeps its least time over the rounds: what
// other processes do to the caches does not count.
void benchFiles(Bench& bench) {
  const TemporaryFolder folder;
  const auto calls = minuteOfMusic();
  std::vector<std::int64_t> least(calls.size(), std::numeric_limits<std::int64_t>::max());
  for (int round = 0; round < std::clamp(bench.rounds() / 20, 2, 5); ++round) {
    const auto times = timesOfCalls((folder / "take.m4a").string(), calls);
    std::ranges::transform(least, times, least.begin(), [](auto a, auto b) { return std::min(a, b); });
  }
  const double callTime = kCallFrames / kSampleRate * 1e9;
  const auto worst = double(std::ranges::max(least));
  double sum = 0;
  for (const std::int64_t time : least) sum += double(time);
  bench.add({"E1", "AAC: worst call of 1024 frames in 60 s, CPU time, % of 21.3 ms", 100 * worst / callTime,
             25, true, ""});
  bench.note(fmt::format("E1: a call takes {:.2f} ms on average ({:.0f} x real time), {:.2f} ms at worst.",
                         sum / double(least.size()) / 1e6, callTime * double(least.size()) / sum,
                         worst / 1e6));
}

}  // namespace sonmere
