#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "base/Time.h"
#include "recording/library/WavChunks.h"

namespace sonmere {

// The mending of WAV files whose writer died before it wrote their sizes: the audio is all there, behind a
// "data" chunk that says it is empty. Our own files keep their sizes true while they grow (WavHeader.h); this
// is for those of others. Knows bytes only. Threads: any.

// A file this small holds no audio worth mending.
inline constexpr std::uint64_t kSmallestRepairableFile = 4105;
// A "data" chunk behind these is not looked for.
inline constexpr std::uint64_t kRepairableHeadBytes = 65536;
// A file changed this long ago or less may still be recorded.
inline constexpr Duration kRepairRest = std::chrono::seconds(60);

struct WavRepair {
  // A little-endian number and where it goes.
  struct Patch {
    std::uint64_t at;
    std::uint64_t value;
    int bytes;
  };
  std::uint64_t audioBytes = 0;
  std::vector<Patch> patches;  // in the order in which they are written
};

// What makes the file whole; nothing for one that is whole, that is too small, or whose audio is nothing or
// more than the 32-bit field of a plain WAV file can say.
std::optional<WavRepair> planWavRepair(const WavChunks& chunks, std::uint64_t fileSize);

// The chunks as they read after the repair.
WavChunks repairedChunks(WavChunks chunks, const WavRepair& repair);

}  // namespace sonmere
