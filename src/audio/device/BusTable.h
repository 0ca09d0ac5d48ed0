#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace sonmere {

// The virtual driver's ten devices: 0 the bridge, 1 the internal mic bus, 2 to 9 Track 1 to 8.
constexpr int kBusCount = 10;
constexpr int kBridgeBus = 0;
constexpr int kMicBus = 1;
constexpr int kFirstTrackBus = 2;

inline constexpr std::array<std::string_view, kBusCount> kBusUIDs = {
    "ToneFerry_UID",         "ToneFerry_Mic_UID",     "ToneFerry_UID_Track_1", "ToneFerry_UID_Track_2",
    "ToneFerry_UID_Track_3", "ToneFerry_UID_Track_4", "ToneFerry_UID_Track_5", "ToneFerry_UID_Track_6",
    "ToneFerry_UID_Track_7", "ToneFerry_UID_Track_8"};

constexpr bool isBus(int bus) { return bus >= 0 && bus < kBusCount; }
// Tracks count from 1.
constexpr int busOfTrack(int track) { return track + kFirstTrackBus - 1; }
// Apps route to the bridge or a Track, never to the mic bus.
constexpr bool isRoutableBus(int bus) { return isBus(bus) && bus != kMicBus; }
constexpr int clampBus(int bus) { return bus < 0 ? 0 : bus >= kBusCount ? kBusCount - 1 : bus; }

// UIDs and UID prefixes of the program's own aggregates.
inline constexpr std::string_view kMultiOutputUID = "ToneFerry_MultiOut";
inline constexpr std::string_view kDAWDeviceUID = "Sonmere_DAWMultiTrack_v1";
inline constexpr std::string_view kCombinedInputUID = "Sonmere-CombinedInput";

}  // namespace sonmere
