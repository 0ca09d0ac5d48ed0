#pragma once

#include <array>
#include <string_view>

#include "apps/FamilyRules.h"

namespace sonmere {

// Rows with rules of their own, and what they say.
namespace MixerRows {

// Names the output's spectrum where a bundle identifier would stand.
inline constexpr std::string_view kOutputKey = "__output__";
// Whose gains the Siri row sets.
inline constexpr std::array<std::string_view, 3> kSiriFamily = {"com.apple.sirittsd", "com.apple.CoreSpeech",
                                                                "com.apple.SiriNCService"};

inline constexpr std::string_view kCallAudioName = "FaceTime Calls";
inline constexpr std::string_view kSystemSoundsName = "System Sounds";
inline constexpr std::string_view kRoutedNote = "Routed in Per-App Routing";
inline constexpr std::string_view kSiriNote = "Siri volume needs System Audio Passthrough";
inline constexpr std::string_view kSiriAction = "Turn on System Audio Passthrough";
inline constexpr std::string_view kCallAudioHint =
    "macOS plays call audio through a hidden system process, not the FaceTime app itself. This row appears "
    "when "
    "a call connects and tucks itself into Hidden Apps when the call ends — it manages itself, so it has no "
    "pin. Un-hide it to keep it always visible, or hide it to opt out of call volume control.";

// System rows are always the mixer's, never Direct.
inline bool canBeDirect(std::string_view bundleID) {
  return bundleID != FamilyRules::kSystemSoundsKey && bundleID != FamilyRules::kCallAudioKey &&
         bundleID != FamilyRules::kSiriKey;
}
// Siri's speech can't be tapped: the driver applies its volume.
inline bool canBeTapped(std::string_view bundleID) { return bundleID != FamilyRules::kSiriKey; }

}  // namespace MixerRows
}  // namespace sonmere
