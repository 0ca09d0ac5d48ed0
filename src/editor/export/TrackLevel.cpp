#include "editor/export/TrackLevel.h"

#include "editor/export/LoudnessMeter.h"
#include "editor/export/PeakMeter.h"
#include "editor/track/TrackReader.h"

namespace sonmere {

Outcome<Loudness> measureTrackLoudness(MixTrackInput track, ExportProgress& progress) {
  track.range.gainLinear = 1;
  const auto source = TrackReader::open(track);
  if (!source) return std::unexpected(source.error());
  return measureLoudness(**source, progress);
}

Outcome<float> measureTrackPeak(MixTrackInput track, ExportProgress& progress) {
  track.range.gainLinear = 1;
  track.range.fadeInFrames = track.range.fadeOutFrames = 0;
  const auto source = TrackReader::open(track);
  if (!source) return std::unexpected(source.error());
  return measurePeak(**source, progress);
}

}  // namespace sonmere
