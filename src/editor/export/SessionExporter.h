#pragma once

#include <memory>
#include <string>
#include <vector>

#include "base/Log.h"
#include "editor/export/ExportFormat.h"
#include "editor/export/ExportProgress.h"
#include "editor/track/BlockSource.h"
#include "editor/track/MixTrackInput.h"
#include "recording/RecordingBitDepth.h"

namespace sonmere {

// Writes edited tracks to files. A file appears under its name only once it is complete; one that was there
// stays until then. After an error or a cancel nothing is left.
// Threads: one at a time, and not the main thread unless nothing else waits for it.
class SessionExporter {
 public:
  using MixTrackInput = sonmere::MixTrackInput;

  struct Options {
    ExportFormat format = {};
    RecordingBitDepth depth = RecordingBitDepth::int16;  // of WAV and FLAC
    bool mayReplace = true;                              // a file that has the name already
    double sampleRate = 0;                               // of a mix, Hz; 0: that of its first track
    std::vector<std::string> originals = {};             // stay as they are, as the tracks' files do
    int stream = -1;  // a descriptor that takes all but M4A in place of a file, whose name is told then
  };
  struct Stem {
    MixTrackInput input;
    std::string name;  // without an extension, as it is shown
  };

  explicit SessionExporter(Log& log) : log_(log) {}

  // One track to one file.
  Outcome<void> exportTrack(const MixTrackInput& track, const std::string& destination,
                            const Options& options, ExportProgress& progress);
  // All tracks summed to one file.
  Outcome<void> exportMix(const std::vector<MixTrackInput>& tracks, const std::string& destination,
                          const Options& options, ExportProgress& progress);
  // Each track to a file of its own in a folder, at its own rate, channels and length. Names that are taken
  // get a number. All of them or none; returns their paths in order.
  Outcome<std::vector<std::string>> exportStems(const std::vector<Stem>& stems, const std::string& folder,
                                                const Options& options, ExportProgress& progress);

 private:
  Outcome<void> exportTo(const std::string& destination, std::unique_ptr<BlockSource> source,
                         std::vector<std::string> sources, const Options& options, ExportProgress& progress);
  Outcome<std::vector<std::string>> writeStems(const std::vector<Stem>& stems, const std::string& folder,
                                               const Options& options, ExportProgress& progress);

  Log& log_;
};

// The error of an export that was ended early.
inline constexpr const char* kExportCancelledDomain = "ExportCancelled";

}  // namespace sonmere
