#pragma once

#include "audio/device/BusName.h"

namespace sonmere {

// What the user called the Tracks of the program that runs; nothing where none does. Main thread.
TrackNames givenTrackNames();

}  // namespace sonmere
