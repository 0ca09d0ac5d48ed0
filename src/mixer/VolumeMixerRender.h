#pragma once

#include "audio/device/OutputUnit.h"

namespace sonmere {

// How far from 1 the output limiter's gain must be for a silent block to move it.
constexpr float kOutputQuietThreshold = 1e-5f;

// The render callback of the mixer's output: pulls every tap through its effects, sums, and runs the output
// chain. Refcon: VolumeMixerOutputContext. Render thread.
OSStatus renderVolumeMixer(void* refcon, const AudioTimeStamp& time, std::uint32_t frames,
                           AudioBufferList buffers) noexcept SONMERE_NONBLOCKING;

}  // namespace sonmere
