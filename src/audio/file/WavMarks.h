#pragma once

#include <cstdint>
#include <vector>

#include "audio/file/AudioFileMark.h"

namespace sonmere {

// The chunks that stand behind the samples of a WAV file of so many frames: `cue ` with the frames, and
// LIST/adtl with a `labl` for each that has a text. Nothing where there are no marks; those beyond the file's
// end or beyond what 32 bits count are left out. An even number of bytes.
std::vector<std::uint8_t> wavMarkChunks(std::vector<AudioFileMark> marks, std::uint64_t frames);

}  // namespace sonmere
