#include "fuzz/FuzzImporter.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "audio/file/AudioFileReader.h"
#include "audio/file/StreamResampler.h"
#include "base/FileDescriptor.h"

namespace sonmere {

namespace {

constexpr double kRates[] = {48000, 44100, 8000, 96000};
constexpr std::uint32_t kBlockFrames = 4096;
// A few bytes may well stand for hours of silence.
constexpr int kMostBlocks = 2;

void require(bool holds) {
  if (!holds) std::abort();
}

void readSome(AudioFileReader& reader, std::vector<float>& block) {
  for (int i = 0; i < kMostBlocks; ++i) {
    const auto count = reader.read(block.data(), kBlockFrames);
    if (!count) require(!count.error().description.empty());
    if (!count || *count == 0) return;
    require(*count <= kBlockFrames);
  }
}

void exercise(const std::string& path, double sampleRate) {
  auto opened = openAudioFile(path);
  if (!opened) return require(opened.error().description.starts_with(path));
  const PCMFormat source = (*opened)->format();
  require(source.channels >= 1 && source.channels <= 64);
  require(source.sampleRate >= 1000 && source.sampleRate <= 768000);
  const std::int64_t frames = (*opened)->frameCount();
  require(frames >= -1);
  const PCMFormat target{sampleRate, std::min(source.channels, 2u)};
  const auto reader = resampled(std::move(*opened), target);
  std::vector<float> block(std::size_t(kBlockFrames) * target.channels);
  readSome(*reader, block);
  for (const std::int64_t to : {frames / 2, std::int64_t(0), frames})
    if (reader->seek(to)) readSome(*reader, block);
}

}  // namespace

void fuzzImporter(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return;
  const FileDescriptor file(::memfd_create("fuzz", MFD_CLOEXEC));
  require(file.valid() && ::write(file.get(), data + 1, size - 1) == ssize_t(size - 1));
  exercise("/proc/self/fd/" + std::to_string(file.get()), kRates[data[0] % 4]);
}

}  // namespace sonmere
