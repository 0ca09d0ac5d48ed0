#pragma once

#include "base/Error.h"
#include "editor/export/Loudness.h"
#include "editor/track/MixTrackInput.h"

namespace sonmere {

class ExportProgress;

// How loud what is kept of a track would be without its gain, to set that by: its fades shape the loudness,
// while the peak is that of the sound itself. The range is read through; `progress` may end it early.
// Threads: any but a render thread.
Outcome<Loudness> measureTrackLoudness(MixTrackInput track, ExportProgress& progress);
Outcome<float> measureTrackPeak(MixTrackInput track, ExportProgress& progress);

}  // namespace sonmere
