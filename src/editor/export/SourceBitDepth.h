#pragma once

#include <string>

#include "recording/RecordingBitDepth.h"

namespace sonmere {

// The depth at which a WAV made of a file loses nothing that the file's own encoding keeps: 32-bit float of
// floating-point samples, 24 bits of whole numbers of more than 16, else 16.
RecordingBitDepth sourceBitDepth(const std::string& path);

}  // namespace sonmere
