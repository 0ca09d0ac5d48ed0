#pragma once

#include <vector>

#include "audio/file/AudioFileMark.h"
#include "recording/library/WavChunks.h"

namespace sonmere {

// The marks of a WAV file of this size, wherever they stand, in the order of frames. Chunks that can't be
// believed have none, and more than some thousands are not looked at. Knows bytes only. Threads: any.
std::vector<AudioFileMark> readWavMarks(const ReadBytesAt& read, const WavChunks& chunks,
                                        std::uint64_t fileSize);

}  // namespace sonmere
