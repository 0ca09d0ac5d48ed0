#include "apps/FamilyRules.h"

#include <fmt/format.h>

#include <algorithm>

namespace sonmere::FamilyRules {

namespace {
using Table = std::set<std::string, std::less<>>;
}  // namespace

const Table& hiddenSystemBundleIDs() {
  static const Table table = {"com.apple.universalaccessd",
                              "com.apple.mediaremoted",
                              "com.apple.TelephonyUtilities",
                              "com.apple.assistantd",
                              "com.apple.controlcenter",
                              "com.apple.loginwindow",
                              "com.apple.audiomxd",
                              "com.apple.cloudpaird",
                              "com.apple.cmio.ContinuityCaptureAgent",
                              "com.apple.accessibility.heard",
                              "com.apple.audio.AudioMIDISetup",
                              "com.apple.PowerChime"};
  return table;
}

bool isSiriProcess(std::string_view bundleID) {
  static const Table table = {"com.apple.sirittsd", "com.apple.CoreSpeech", "com.apple.SiriNCService"};
  return table.contains(bundleID);
}

bool isSystemSoundServer(std::string_view bundleID) {
  return bundleID == kSystemSoundsKey || bundleID == "com.apple.systemsoundserverd";
}

bool isWebKitProcess(std::string_view bundleID) {
  static const Table table = {"com.apple.WebKit.WebContent", "com.apple.WebKit.GPU",
                              "com.apple.WebKit.Networking", "com.apple.WebKit.WebAuthn"};
  return table.contains(bundleID);
}

std::optional<std::string> helperOwner(std::string_view bundleID) {
  const auto at = bundleID.find(".helper");
  if (at == std::string_view::npos || at == 0) return std::nullopt;
  return std::string(bundleID.substr(0, at));
}

std::string familyName(std::string_view key) {
  if (key == kSystemSoundsKey) return "System Sounds";
  if (key == kCallAudioKey) return "FaceTime Calls";
  if (key == kSiriKey) return "Siri";
  return nameFromBundleID(key);
}

std::string nameFromBundleID(std::string_view bundleID) {
  const auto dot = bundleID.rfind('.');
  return std::string(dot == std::string_view::npos ? bundleID : bundleID.substr(dot + 1));
}

bool needsWebAppNote(std::string_view bundleID) {
  constexpr std::string_view kMark = ".app.";
  constexpr std::size_t kLetters = 32;
  if (bundleID.size() < kMark.size() + kLetters) return false;
  const auto letters = bundleID.substr(bundleID.size() - kLetters);
  const auto before = bundleID.substr(0, bundleID.size() - kLetters);
  return before.ends_with(kMark) && std::ranges::all_of(letters, [](char c) { return c >= 'a' && c <= 'p'; });
}

std::string webAppNote(std::string_view browserName) {
  return fmt::format(
      "This web app plays its sound through {0}, together with all your {0} tabs, so it never gets sound of "
      "its own "
      "here. Use the {0} row instead. To control it on its own, open the site in Safari and choose File > "
      "Add to "
      "Dock: Sonmere then shows it as its own app.",
      browserName);
}

}  // namespace sonmere::FamilyRules
