#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "audio/file/AudioFileReader.h"

namespace sonmere {

// Wraps a reader so that it delivers another rate and channel count: mono to stereo by copying, more than two
// channels by StereoDownmix, two to mono by their mean. With equal formats samples pass unchanged, bit for
// bit.
std::unique_ptr<AudioFileReader> resampled(std::unique_ptr<AudioFileReader> source, const PCMFormat& target);

}  // namespace sonmere
