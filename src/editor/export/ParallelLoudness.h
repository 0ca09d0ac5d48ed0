#pragma once

#include "base/Runtime.h"
#include "editor/export/Loudness.h"
#include "editor/export/SessionMix.h"

namespace sonmere {

class ExportProgress;

// How many pieces of a file are worth measuring at once on this machine.
unsigned loudnessPieces();

// Measures a range of a file in pieces, each on a queue of its own, and blocks until all are done. The result
// is that of one go to 0.01 LU. A range that is too short, that fades, or that has more than two channels is
// measured in one. Threads: any but a render thread.
Outcome<Loudness> measureFileLoudness(Runtime& runtime, const MixTrackInput& input, ExportProgress& progress,
                                      unsigned pieces = loudnessPieces());

}  // namespace sonmere
