#pragma once

#include "control/ControlMessage.h"
#include "control/DAWState.h"
#include "control/MixState.h"
#include "control/SystemAudioState.h"

namespace sonmere {

// The values of the devices that the program makes, of the system's sound and of Mix Mode as JSON.
ControlJSON encodeControl(const DAWState& daw);
ControlJSON encodeControl(const DAWChange& change);
ControlJSON encodeControl(const SystemAudioState& system);
ControlJSON encodeControl(const SystemAudioChange& change);
ControlJSON encodeControl(const MixState& mix);
ControlJSON encodeControl(const MixChange& change);

}  // namespace sonmere
