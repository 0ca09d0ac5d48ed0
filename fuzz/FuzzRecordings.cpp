#include "fuzz/FuzzRecordings.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "recording/RecordingFileName.h"
#include "recording/library/MP4Duration.h"
#include "recording/library/WavRepair.h"

namespace sonmere {

namespace {

constexpr std::uint64_t kMostFileBytes = 1ull << 42;
constexpr int kMostReads = 70;
constexpr std::uint8_t kFiller = 0xFF;

void require(bool holds) {
  if (!holds) std::abort();
}

// The bytes, and behind them up to the size what no chunk or box can be.
struct VirtualFile {
  std::vector<std::uint8_t> head;
  std::uint64_t size = 0;
  int reads = 0;

  ReadBytesAt reader() {
    return [this](std::uint64_t at, std::span<std::uint8_t> bytes) {
      ++reads;
      const auto count = std::size_t(at < size ? std::min<std::uint64_t>(bytes.size(), size - at) : 0);
      std::fill_n(bytes.begin(), count, kFiller);
      if (at < head.size() && count > 0)
        std::memcpy(bytes.data(), head.data() + at, std::min(count, head.size() - std::size_t(at)));
      return count;
    };
  }
};

// As the rules have it: all at once, over the part that repairs look at.
std::optional<WavChunks> walkAtOnce(VirtualFile& file) {
  std::vector<std::uint8_t> bytes(std::size_t(std::min(file.size, kRepairableHeadBytes)));
  file.reader()(0, bytes);
  auto chunks = beginWavChunks(bytes);
  if (chunks) walkWavChunks(*chunks, 0, bytes);
  return chunks;
}

void requireLength(double seconds) { require(std::isfinite(seconds) && seconds >= 0); }

void applyPatches(VirtualFile& file, const WavRepair& repair) {
  for (const WavRepair::Patch& patch : repair.patches) {
    const std::size_t end = std::size_t(patch.at) + std::size_t(patch.bytes);
    require(end <= kRepairableHeadBytes && end <= file.size);
    if (file.head.size() < end) file.head.resize(end, kFiller);
    for (int i = 0; i < patch.bytes; ++i)
      file.head[std::size_t(patch.at) + std::size_t(i)] = std::uint8_t(patch.value >> (8 * i));
  }
}

void fuzzWav(VirtualFile file) {
  const auto chunks = readWavChunks(file.reader());
  require(file.reads <= kMostReads);
  const auto atOnce = walkAtOnce(file);
  require(chunks.has_value() == atOnce.has_value());
  if (!chunks) return;
  requireLength(wavSeconds(*chunks, file.size));
  const auto plan = planWavRepair(*chunks, file.size);
  require(plan.has_value() == planWavRepair(*atOnce, file.size).has_value());
  if (!plan) return;
  require(chunks->data->at == atOnce->data->at);
  require(chunks->data->at + 8 + plan->audioBytes == file.size);
  applyPatches(file, *plan);
  const auto after = readWavChunks(file.reader());
  require(after && after->data && !planWavRepair(*after, file.size));
  require(wavSeconds(*after, file.size) == wavSeconds(repairedChunks(*chunks, *plan), file.size));
}

void fuzzName(std::string_view name) {
  const auto parts = parseRecordingName(name);
  if (!parts) return;
  require(!parts->name.empty() && parts->stamp.size() == 19);
  require(std::string(parts->name) + " \u2014 " + std::string(parts->stamp) + "." +
              fileExtension(parts->format) ==
          name);
  const auto date = dateOfStamp(parts->stamp);
  // In an hour that the clocks skip a stamp can't come back as it was.
  if (date) require(recordingStamp(*date).substr(0, 8) == parts->stamp.substr(0, 8));
}

}  // namespace

void fuzzRecordings(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kSizeBytes = 6;
  if (size < 1 + kSizeBytes) return;
  std::uint64_t more = 0;
  std::memcpy(&more, data + 1, kSizeBytes);
  VirtualFile file{{data + 1 + kSizeBytes, data + size}, 0};
  file.size = file.head.size() + more % kMostFileBytes;
  switch (data[0] % 4) {
    case 0:
      return fuzzName({reinterpret_cast<const char*>(data) + 1, size - 1});
    case 1:
      return requireLength(mp4Seconds(file.reader(), file.size));
    default:
      return fuzzWav(std::move(file));
  }
}

}  // namespace sonmere
