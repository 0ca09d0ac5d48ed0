#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>

#include "base/Error.h"

namespace sonmere {

// Mends the WAV file `name` of the folder if it is still the one that was `seen` and still interrupted, and
// brings that to the disk. Returns the bytes of its audio; nothing when it was left alone because it changed
// meanwhile or another program is mending it. The folder is an open descriptor; no link is followed and
// nothing but an ordinary file is written to. Threads: any but a render thread.
Outcome<std::optional<std::uint64_t>> repairWavFile(int folder, const std::string& name,
                                                    const struct stat& seen);

}  // namespace sonmere
