#pragma once

// Why what was set is not heard yet, as notes of a change say it. What to do about it is the client's to say,
// which knows how its user does things.
namespace sonmere::KeptForLater {

inline constexpr const char* kMixerIsOff = "kept for later: per-app volume is off and the app is not routed";
inline constexpr const char* kRoutingIsOff = "kept for later: routing is off";
inline constexpr const char* kRouteWaits = "kept for later: the app's route waits until it plays";
inline constexpr const char* kServerIsAbsent = "kept for later: the audio server does not answer yet";
inline constexpr const char* kIsDirect = "kept for later: the app is Direct, and plays untouched";

}  // namespace sonmere::KeptForLater
