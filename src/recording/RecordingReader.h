#pragma once

#include <memory>
#include <string>
#include <vector>

#include "audio/file/AudioFileReader.h"

namespace sonmere {

// Opens a recording with all its parts, which are one file to whoever reads it; any other file as it is.
// Errors as of openAudioFile.
Outcome<std::unique_ptr<AudioFileReader>> openRecording(const std::string& path);

// The paths of a recording's parts behind its first one, in order, up to the first that isn't there; none for
// any other file. Threads: any but a render thread.
std::vector<std::string> laterRecordingParts(const std::string& path);

}  // namespace sonmere
