#pragma once

#include "audio/device/OutputUnit.h"

namespace sonmere {

// The callback of a playback engine's output unit; `refcon` is its PlaybackContext, the buffer is stereo.
OSStatus renderPlayback(void* refcon, const AudioTimeStamp& time, std::uint32_t frames,
                        AudioBufferList buffers) noexcept SONMERE_NONBLOCKING;

}  // namespace sonmere
