#pragma once

#include <functional>
#include <optional>
#include <string>

#include "audio/file/AudioFileReader.h"
#include "base/Log.h"
#include "base/Runtime.h"
#include "base/TaskToken.h"
#include "recording/RecordingBitDepth.h"
#include "recording/import/ImportError.h"

namespace sonmere {

// Makes a track of any audio file that can be read: a WAV at the session's rate, in its folder, with its
// stamp in the name. Mono stays mono, two channels stay two, more are mixed down (StereoDownmix). The source
// is only read. Threads: any that may wait; imports may run side by side.
class AudioFileImporter {
 public:
  struct Request {
    std::string source;
    std::string folder;         // the session's; exists
    std::string stamp;          // the session's, "yyyy-MM-dd HH-mm-ss"
    double sampleRate = 48000;  // the session's, Hz
    // Float keeps what lies beyond full scale in compressed files.
    RecordingBitDepth depth = RecordingBitDepth::float32;
    // What stands in front of the stamp; without it what the source is called.
    std::optional<std::string> name = {};
    // What the user should know of a file that can be imported; called on the worker, before it is.
    std::function<void(const std::string& note)> tell = {};
    // Makes it a session of its own, with the first second from the stamp on that is free once the file is
    // complete.
    Runtime* newSession = nullptr;
  };
  // From 0 to 1; not called for a source that does not tell its length.
  using Progress = std::function<void(double fraction)>;

  // The log outlives the importer.
  explicit AudioFileImporter(Log& log) : log_(log) {}

  // The path of the new file, which appears under its name only once it is complete. After an ImportError
  // nothing is left behind.
  Outcome<std::string> importFile(const Request& request, const TaskToken& cancel = {},
                                  const Progress& progress = nullptr) const;

 private:
  Log& log_;
};

}  // namespace sonmere
