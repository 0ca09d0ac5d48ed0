#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace sonmere {

// Which processes make one app, by their bundle identifiers alone.
namespace FamilyRules {

inline constexpr std::string_view kSystemSoundsKey = "systemsoundserverd";
inline constexpr std::string_view kCallAudioKey = "com.apple.avconferenced";
inline constexpr std::string_view kSiriKey = "sonmere.siri.family";
inline constexpr std::string_view kSafariKey = "com.apple.Safari";
// Stands for the master row in effect settings; no family.
inline constexpr std::string_view kMasterKey = "__master__";

// Processes of the system that never get a row.
const std::set<std::string, std::less<>>& hiddenSystemBundleIDs();
bool isSiriProcess(std::string_view bundleID);
bool isSystemSoundServer(std::string_view bundleID);
// Content processes of the system's web engine, which have no row of their own.
bool isWebKitProcess(std::string_view bundleID);
// The identifier of a helper's owner; nothing for a process that is no helper.
std::optional<std::string> helperOwner(std::string_view bundleID);
// What the row of a family is called where no application names it: its own name for those of the system.
std::string familyName(std::string_view key);
// "com.vendor.Player" gives "Player".
std::string nameFromBundleID(std::string_view bundleID);

// Web apps that a browser installed make no sound of their own; their rows carry a note.
bool needsWebAppNote(std::string_view bundleID);
std::string webAppNote(std::string_view browserName);

}  // namespace FamilyRules
}  // namespace sonmere
