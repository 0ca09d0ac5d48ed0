#pragma once

#include <optional>
#include <string>

#include "base/Error.h"
#include "cli/FileWork.h"
#include "editor/export/Loudness.h"
#include "editor/track/MixTrackInput.h"

namespace sonmere {

// What is done to a track, as it was typed; what is missing stays as it is.
struct TrackEditArguments {
  std::optional<std::string> trim, fadeIn, fadeOut, gain;
  std::optional<std::string> normalise;  // "peak" or a loudness in LUFS

  bool isEmpty() const { return !trim && !fadeIn && !fadeOut && !gain && !normalise; }
};

// The decibels of --gain as a linear gain, held to the largest; what is held is told.
Outcome<float> readEditGain(const std::string& text, const FileWork& work);
// The loudness of --normalise in LUFS; nothing for "peak".
Outcome<std::optional<double>> readLoudnessTarget(const std::string& text);
// The gain of --normalise for audio of this loudness at gain 1; what can't be reached is told.
float gainForLoudness(const Loudness& loudness, double targetLUFS, const FileWork& work);

// Edits of one track on their way from the arguments. Main thread.
class TrackEdit {
 public:
  TrackEdit(const TrackEditArguments& arguments, FileWork& work) : arguments_(arguments), work_(work) {}

  // All but the normalising, which reads the file. What does not fit the track is held to it and told.
  Outcome<void> readInto(MixTrackInput& track);
  Outcome<void> normalise(MixTrackInput& track);

 private:
  Outcome<void> readTrim(TrimRange& range);
  Outcome<void> readFade(const char* option, const std::optional<std::string>& text, const TrimRange& range,
                         std::int64_t& frames);
  Outcome<void> normalisePeak(MixTrackInput& track);
  Outcome<void> normaliseLoudness(MixTrackInput& track, double target);
  void note(const std::string& text) const { work_.tell(kExitSuccess, text); }

  const TrackEditArguments& arguments_;
  FileWork& work_;
};

}  // namespace sonmere
