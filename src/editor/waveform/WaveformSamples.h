#pragma once

#include <string>

#include "base/Error.h"
#include "editor/track/TrimRange.h"
#include "editor/track/WaveformEnvelope.h"

namespace sonmere {

// A part of a file, a bin for each frame: what is drawn where the bins of the whole file are wider than a
// pixel. Of a part that the file has no audio for the bins are missing. Threads: any but a render thread.
Outcome<WaveformEnvelope> waveformSamples(const std::string& path, const TrimRange& part);

}  // namespace sonmere
