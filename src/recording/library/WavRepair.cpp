#include "recording/library/WavRepair.h"

#include <algorithm>

namespace sonmere {

namespace {

constexpr std::uint64_t kMax32 = 0xFFFFFFFF;
constexpr std::uint64_t kRiffSizeAt = 4;

bool isInterrupted(const WavChunks& chunks) {
  const std::uint32_t declared = chunks.data->size;
  if (!chunks.isRF64) return declared == 0;
  return chunks.largeSizes && chunks.largeSizes->data == 0 && (declared == 0 || declared == kMax32);
}

std::vector<WavRepair::Patch> riffPatches(const WavChunks& chunks, std::uint64_t fileSize,
                                          std::uint64_t audio) {
  return {{chunks.data->at + 4, audio, 4}, {kRiffSizeAt, std::min(fileSize - 8, kMax32), 4}};
}

// The size that tells an interrupted file from a whole one comes last, so that a repair that is interrupted
// itself is done again.
std::vector<WavRepair::Patch> rf64Patches(const WavChunks& chunks, std::uint64_t fileSize,
                                          std::uint64_t audio) {
  const std::uint64_t sizes = chunks.largeSizes->at;
  std::vector<WavRepair::Patch> patches = {
      {kRiffSizeAt, kMax32, 4}, {chunks.data->at + 4, kMax32, 4}, {sizes, fileSize - 8, 8}};
  if (chunks.format && chunks.format->bytesPerFrame > 0)
    patches.push_back({sizes + 16, audio / chunks.format->bytesPerFrame, 8});
  patches.push_back({sizes + 8, audio, 8});
  return patches;
}

}  // namespace

std::optional<WavRepair> planWavRepair(const WavChunks& chunks, std::uint64_t fileSize) {
  if (fileSize < kSmallestRepairableFile || !chunks.data) return std::nullopt;
  const std::uint64_t audioAt = chunks.data->at + 8;
  if (audioAt > kRepairableHeadBytes || fileSize <= audioAt || !isInterrupted(chunks)) return std::nullopt;
  const std::uint64_t audio = fileSize - audioAt;
  if (chunks.isRF64) return WavRepair{audio, rf64Patches(chunks, fileSize, audio)};
  if (audio > kMax32) return std::nullopt;
  return WavRepair{audio, riffPatches(chunks, fileSize, audio)};
}

WavChunks repairedChunks(WavChunks chunks, const WavRepair& repair) {
  if (chunks.isRF64) {
    chunks.data->size = std::uint32_t(kMax32);
    chunks.largeSizes->data = repair.audioBytes;
  } else {
    chunks.data->size = std::uint32_t(repair.audioBytes);
  }
  return chunks;
}

}  // namespace sonmere
