#pragma once

#include <optional>
#include <string>

#include "audio/effects/Effect.h"

namespace sonmere {

// Runs an effect that nobody knows through a second of noise, silence, impulses and blocks of 1 to 4096
// frames, under flush-to-zero as on every audio thread. Why it must not be used; nothing when it passed. It
// may crash or hang: only in a process that may.
std::optional<std::string> tryEffect(Effect& effect, double sampleRate);

}  // namespace sonmere
