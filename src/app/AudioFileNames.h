#pragma once

#include <string>

namespace sonmere {

// Whether the name ends as those of the audio files that the desktop opens with this program do. Threads:
// any.
bool isAudioFileName(const std::string& file);

}  // namespace sonmere
