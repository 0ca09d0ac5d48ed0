#pragma once

#include <functional>
#include <optional>
#include <string>

#include "audio/device/BusName.h"
#include "base/Error.h"

namespace sonmere {

// How a bus is written, in every command alike: "bridge", "track1" to "track8", "Track 1", a name that the
// user gave a Track, or its number. What a text means by itself comes first, so a Track that is called
// "track2" is not found by it.

// For help and errors.
inline constexpr const char* kBusForm =
    "bridge, track1 to track8, a name that you gave a Track, or its number";

// Asked only for a text that means no bus by itself.
using TrackNamesSource = std::function<TrackNames()>;

// A bus that apps route to. `argument` is how the error names it.
Outcome<int> readBus(const std::string& argument, const std::string& text, const TrackNamesSource& names);
// The same, or nothing for "off".
Outcome<std::optional<int>> readBusOrOff(const std::string& argument, const std::string& text,
                                         const TrackNamesSource& names);

}  // namespace sonmere
