#include <fcntl.h>
#include <fmt/format.h>
#include <lame/lame.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>

#include "Bench.h"
#include "audio/file/WavHeader.h"
#include "base/AlignedVector.h"
#include "base/FileDescriptor.h"
#include "base/LiveRuntime.h"
#include "base/VirtualRuntime.h"
#include "dsp/kernels/PeakKernels.h"
#include "editor/export/ParallelLoudness.h"
#include "editor/export/SessionExporter.h"
#include "editor/track/TrackReader.h"
#include "editor/waveform/WaveformPeakAnalyzer.h"
#include "recording/RecordingFileSettings.h"
#include "support/TemporaryFolder.h"

namespace sonmere {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kRate = 48000;
constexpr std::size_t kSeconds = 300;
constexpr std::size_t kTracks = 8;
// Each takes seconds.
constexpr int kMostMixRounds = 21, kMostMP3Rounds = 7;

// A stereo WAV whose sound is somewhat like music, for the encoder: a few tones and some noise. Written as a
// recorder does, 10 ms at a time: the system keeps a file in memory in the pieces that it came in, and reads
// small ones more slowly.
std::vector<char> makeWav(const std::string& path, RecordingBitDepth depth, unsigned seed) {
  const AudioFileSettings settings = wavFileSettings(kRate, 2, depth);
  std::mt19937 random(seed);
  std::vector<char> data(kRate * kSeconds * wavBytesPerFrame(settings));
  for (std::size_t i = 0; i < kRate * kSeconds * 2; ++i) {
    const double t = double(i / 2) / kRate;
    const double value =
        0.05 * (std::sin(t * (200 + 50 * seed) * 6.28318) + std::sin(t * (1700 + 90 * seed) * 6.28318)) +
        0.02 * (double(random() % 65536) / 32768 - 1);
    const float sample = float(value);
    const auto integer = std::int32_t(std::lround(value * 8388608));
    const auto sixteen = std::int16_t(integer >> 8);
    if (depth == RecordingBitDepth::int16) std::memcpy(&data[2 * i], &sixteen, 2);
    if (depth == RecordingBitDepth::int24) std::memcpy(&data[3 * i], &integer, 3);
    if (depth == RecordingBitDepth::float32) std::memcpy(&data[4 * i], &sample, 4);
  }
  const auto header = wavHeader(settings, kRate * kSeconds);
  const FileDescriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  bool isWritten = write(file.get(), header.data(), header.size()) == ssize_t(header.size());
  const std::size_t piece = kRate / 100 * wavBytesPerFrame(settings);
  for (std::size_t at = 0; at < data.size(); at += piece)
    isWritten = isWritten && write(file.get(), &data[at], piece) == ssize_t(piece);
  if (!isWritten) benchFailed(path + " can't be written");
  return data;
}

std::string bytesOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

template <class Use>
void readThrough(const std::string& path, Use&& use) {
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  static AlignedVector<char> buffer(200 << 10);  // the way it is copied fastest
  ssize_t count = 0;
  while ((count = read(file.get(), buffer.data(), buffer.size())) > 0) use(buffer.data(), std::size_t(count));
}

// The peaks of samples in memory, against the plain loops.
void benchPeakKernels(Bench& bench) {
  std::vector<std::uint8_t> bytes(20160 * sizeof(float) * 2 + kPeakSlackBytes);
  std::mt19937 random(1);
  for (std::size_t i = 0; i + 4 <= bytes.size(); i += 4) {
    const float value = float(random() % 2000001) / 1000000 - 1;
    std::memcpy(&bytes[i], &value, 4);
  }
  const std::pair<std::size_t, double> bins[] = {{10, 2}, {24, 2.7}, {48, 3.7}};
  for (const auto& [frames, goal] : bins) {
    const std::size_t count = 20160 / frames;
    std::vector<float> pairs(4 * count);
    float* planes[] = {pairs.data(), pairs.data() + 2 * count};
    const auto run = [&, frames = frames](const PeakKernels& kernels) {
      for (int i = 0; i < 20; ++i) kernels.float32(bytes.data(), 2, frames, count, planes);
    };
    const PeakKernels& plain = *availablePeakKernels().back();
    run(plain);
    const auto expected = pairs;
    run(peakKernels());
    if (pairs != expected) benchFailed("the peaks of the instruction sets differ");
    bench.add({fmt::format("C1-{}", frames),
               fmt::format("peaks, bins of {} frames: plain loop ÷ registers", frames),
               bench.ratio([&] { run(plain); }, [&] { run(peakKernels()); }), goal, false,
               peakKernels().target});
  }
}

void benchPeakFiles(Bench& bench, const TemporaryFolder& folder) {
  Log log;
  for (const auto depth : {RecordingBitDepth::int16, RecordingBitDepth::int24, RecordingBitDepth::float32}) {
    const std::string path = (folder / "peaks.wav").string();
    makeWav(path, depth, 3);
    std::size_t total = 0;
    const double value = bench.ratio(
        [&] {
          const auto peaks = WaveformPeakAnalyzer(log).analyze(path);
          if (!peaks || peaks->channels[1].size() != kSeconds * 2000) benchFailed("no peaks");
        },
        [&] { readThrough(path, [&](const char*, std::size_t count) { total += count; }); },
        std::min(bench.rounds(), 41));
    bench.add({fmt::format("C2-{}", name(depth)), fmt::format("take of {} s to peaks ÷ reading it", kSeconds),
               value, 1.5, true, peakKernels().target});
  }
}

struct MixWorld {
  explicit MixWorld(const TemporaryFolder& folder)
      : out((folder / "mix.wav").string()), copy((folder / "copy.wav").string()) {
    for (unsigned i = 0; i < kTracks; ++i) {
      const std::string path = (folder / fmt::format("track{}.wav", i)).string();
      const std::vector<char> data = makeWav(path, RecordingBitDepth::int16, i);
      sum.resize(data.size() / 2);
      for (std::size_t s = 0; s < sum.size(); ++s) {
        std::int16_t value = 0;
        std::memcpy(&value, &data[2 * s], 2);
        sum[s] += float(value) / 32768;
      }
      tracks.push_back(*wholeFile(path));
    }
  }
  void exportMix(const std::string& path, const ExportFormat& format) {
    ExportProgress progress(runtime);
    const auto done = SessionExporter(log).exportMix(tracks, path, {.format = format}, progress);
    if (!done) benchFailed(done.error().description);
  }
  // All that the mix reads is read, and as much as it writes is written.
  void copyBytes() {
    const FileDescriptor to(open(copy.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    for (const MixTrackInput& track : tracks)
      readThrough(track.url, [&](const char* bytes, std::size_t count) {
        if (&track == &tracks[0] && write(to.get(), bytes, count) != ssize_t(count)) benchFailed("no room");
      });
  }

  VirtualRuntime runtime{1};
  Log log;
  const std::string out, copy;
  std::vector<MixTrackInput> tracks;
  std::vector<float> sum;  // interleaved
};

void benchMix(Bench& bench, MixWorld& world) {
  world.exportMix(world.out, {});
  const std::string bytes = bytesOf(world.out);
  const std::size_t header = wavHeader(wavFileSettings(kRate, 2, RecordingBitDepth::int16), 0).size();
  for (std::size_t i = 0; i < world.sum.size(); ++i) {
    std::int16_t value = 0;
    std::memcpy(&value, &bytes[header + 2 * i], 2);
    if (value != std::lrint(std::clamp(world.sum[i] * 32768.0f, -32768.0f, 32767.0f)))
      benchFailed("the mix is not the sum of its tracks");
  }
  bench.add({"D1", fmt::format("mix of {} stereo takes of {} s ÷ copying the bytes", kTracks, kSeconds),
             bench.ratio([&] { world.exportMix(world.out, {}); }, [&] { world.copyBytes(); },
                         std::min(bench.rounds(), kMostMixRounds)),
             1.3, true, "file"});
}

std::string encodeBare(const std::vector<float>& left, const std::vector<float>& right) {
  std::string mp3;
  std::vector<unsigned char> block(65536);
  lame_t lame = lame_init();
  lame_set_in_samplerate(lame, kRate);
  lame_set_num_channels(lame, 2);
  lame_set_mode(lame, STEREO);
  lame_set_brate(lame, 320);
  lame_set_VBR(lame, vbr_off);
  lame_set_quality(lame, 2);
  if (lame_init_params(lame) < 0) benchFailed("no MP3 encoder");
  const auto take = [&](int count) {
    if (count < 0) benchFailed("MP3 encoding failed");
    mp3.append(reinterpret_cast<const char*>(block.data()), std::size_t(count));
  };
  for (std::size_t i = 0; i < left.size(); i += 8192)
    take(lame_encode_buffer_ieee_float(lame, &left[i], &right[i],
                                       int(std::min<std::size_t>(8192, left.size() - i)), block.data(),
                                       int(block.size())));
  take(lame_encode_flush(lame, block.data(), int(block.size())));
  const std::size_t info = lame_get_lametag_frame(lame, block.data(), block.size());
  std::copy_n(block.begin(), info, mp3.begin());
  lame_close(lame);
  return mp3;
}

void benchMP3(Bench& bench, MixWorld& world) {
  std::vector<float> left(world.sum.size() / 2), right(left.size());
  for (std::size_t i = 0; i < left.size(); ++i) {
    left[i] = world.sum[2 * i];
    right[i] = world.sum[2 * i + 1];
  }
  const ExportFormat format{ExportFormat::Kind::mp3, MP3Bitrate::kbps320};
  const std::string path = fs::path(world.out).replace_extension("mp3");
  world.exportMix(path, format);
  if (bytesOf(path) != encodeBare(left, right)) benchFailed("the MP3 differs from the library's own");
  bench.add({"D2", "the same to MP3 at 320 kbit/s ÷ libmp3lame on the ready mix",
             bench.ratio([&] { world.exportMix(path, format); }, [&] { encodeBare(left, right); },
                         std::min(bench.rounds(), kMostMP3Rounds)),
             1.05, true, "lame"});
}

// By the wall clock, for the threads share the work.
void benchLoudness(Bench& bench, const TemporaryFolder& folder) {
  constexpr unsigned kThreads = 2;
  LiveRuntime runtime;
  const std::string path = (folder / "loudness.wav").string();
  makeWav(path, RecordingBitDepth::int16, 5);
  const MixTrackInput take = *wholeFile(path);
  const auto measure = [&](unsigned pieces) {
    ExportProgress progress(runtime);
    const auto loudness = measureFileLoudness(runtime, take, progress, pieces);
    if (!loudness) benchFailed(loudness.error().description);
    return *loudness;
  };
  const auto timeOf = [&](unsigned pieces) {
    const std::int64_t start = elapsedTime();
    measure(pieces);
    return double(elapsedTime() - start);
  };
  if (std::abs(measure(1).integratedLUFS - measure(kThreads).integratedLUFS) > 0.01)
    benchFailed("the loudness depends on the number of threads");
  bench.add({"D3", fmt::format("loudness of a take of {} s: one thread ÷ two", kSeconds),
             bench.ratioOfTimes([&] { return timeOf(1); }, [&] { return timeOf(kThreads); },
                                std::min(bench.rounds(), kMostMP3Rounds)),
             1.8, false, "ebur128"});
}

}  // namespace

void benchEditor(Bench& bench) {
  const TemporaryFolder folder;
  benchPeakKernels(bench);
  benchPeakFiles(bench, folder);
  MixWorld world(folder);
  benchMix(bench, world);
  benchMP3(bench, world);
  benchLoudness(bench, folder);
}

}  // namespace sonmere
