#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace sonmere {

// By bus: the names that the user gave Tracks.
using TrackNames = std::map<int, std::string>;

// "Bridge", "Track 1"; "Mic bus" for the one that is internal.
std::string busName(int bus);
// With the number that scripts use: "Track 1 (bus 2)".
std::string busLabel(int bus);
// How the bus is typed: "bridge", "track1".
std::string busWord(int bus);

// The bus that a text names by itself: its number ("2"), "bridge", "track1" or "Track 1", in any case of the
// letters. Bus 1 by its number alone. Nothing for any other text.
std::optional<int> busFromText(std::string_view text);
// The Tracks that the user gave this name, in any case of the letters.
std::map<int, std::string> tracksNamed(std::string_view text, const TrackNames& names);

}  // namespace sonmere
