#pragma once

#include "audio/device/AudioHardware.h"

namespace sonmere {

// The I/O procedure of a mixer tap's aggregate: writes the captured stereo mix into the tap's ring. Client
// data: VolumeMixerTap. Render thread.
OSStatus volumeMixerCapture(void* clientData, const AudioTimeStamp& now, AudioBufferList input,
                            AudioBufferList output) noexcept SONMERE_NONBLOCKING;

}  // namespace sonmere
