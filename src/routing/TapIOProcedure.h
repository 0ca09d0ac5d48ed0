#pragma once

#include "audio/device/AudioHardware.h"
#include "routing/SingleAppTap.h"

namespace sonmere {

// Client data: the SingleAppTap, which outlives every call. Meters a block of captured audio, feeds the
// spectrum, and writes the block into the tap's ring. A muted tap writes nothing, so its ring drains and
// stays drained. Render thread of the tap's aggregate.
OSStatus tapIOProcedure(void* clientData, const AudioTimeStamp& now, AudioBufferList input,
                        AudioBufferList output) noexcept SONMERE_NONBLOCKING;

}  // namespace sonmere
