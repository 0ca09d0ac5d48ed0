#pragma once

#include <array>
#include <string>
#include <string_view>

namespace sonmere {

// The offer of Direct for programs in which a delay or a stereo replay is in the way, made once per program.
namespace DAWHint {

inline constexpr std::string_view kSwitchButton = "Switch to Direct";
inline constexpr std::string_view kKeepButton = "Keep as is";

inline constexpr std::array<std::string_view, 16> kBundleIDs = {
    "com.apple.logic10",         "com.apple.garageband10",
    "com.apple.mainstage3",      "com.avid.protools",
    "com.ableton.live",          "com.steinberg.cubase",
    "com.steinberg.nuendo",      "com.presonus.studioone",
    "com.cockos.reaper",         "com.bitwig.studio",
    "com.image-line.flstudio",   "com.uaudio.luna",
    "com.motu.digitalperformer", "com.apple.finalcut",
    "com.adobe.premierepro",     "com.blackmagic-design.davinciresolve"};

bool isListed(std::string_view bundleID);
// What is offered, with the name between ** in bold.
std::string text(std::string_view appName);

}  // namespace DAWHint
}  // namespace sonmere
