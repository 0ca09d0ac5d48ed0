#include "apps/RowSets.h"

#include "apps/FamilyRules.h"

namespace sonmere {

namespace {

constexpr const char* kHiddenKey = "sonmere.hiddenApps";
constexpr const char* kRemovedKey = "sonmere.removedApps";
constexpr const char* kPinnedKey = "sonmere.pinnedApps";
constexpr const char* kCallOverrideKey = "sonmere.callAudio.visibilityOverride";
constexpr const char* kCleanSlateKey = "sonmere.cleanSlateMigration.v5";

// Families that an older version let the user pin or hide, and that now have places of their own.
std::set<std::string> systemFamilyKeys() {
  std::set<std::string> keys(FamilyRules::hiddenSystemBundleIDs().begin(),
                             FamilyRules::hiddenSystemBundleIDs().end());
  keys.emplace(FamilyRules::kSystemSoundsKey);
  keys.emplace(FamilyRules::kCallAudioKey);
  keys.emplace(FamilyRules::kSiriKey);
  return keys;
}

bool removeAll(std::set<std::string>& from, const std::set<std::string>& members) {
  return std::erase_if(from, [&](const std::string& id) { return members.contains(id); }) > 0;
}

}  // namespace

RowSets::RowSets(SettingsStore& settings)
    : settings_(settings),
      userHidden_(settings.stringSet(kHiddenKey)),
      removed_(settings.stringSet(kRemovedKey)),
      pinned_(settings.stringSet(kPinnedKey)) {
  migrate();
  publishHidden();
}

void RowSets::migrate() {
  if (settings_.boolValue(kCleanSlateKey)) return;
  const auto systemKeys = systemFamilyKeys();
  if (removeAll(pinned_, systemKeys)) settings_.setStringSet(kPinnedKey, pinned_);
  if (removeAll(userHidden_, systemKeys)) saveHidden();
  if (settings_.boolValue("didAutoRegisterLoginItem")) settings_.set("sonmere.pending28Note", true);
  settings_.remove("sonmere.pending28RoutingWiped");
  settings_.set(kCleanSlateKey, true);
}

void RowSets::saveHidden() { settings_.setStringSet(kHiddenKey, userHidden_); }

void RowSets::publishHidden() {
  auto hidden = userHidden_;
  const std::string call(FamilyRules::kCallAudioKey);
  const auto override = settings_.string(kCallOverrideKey);
  if (override == "hidden" || (override != "visible" && !isCallActive_))
    hidden.insert(call);
  else
    hidden.erase(call);
  if (hidden != hidden_.get()) hidden_.set(std::move(hidden));
}

void RowSets::hide(const std::string& bundleID) {
  if (bundleID == FamilyRules::kCallAudioKey)
    settings_.set(kCallOverrideKey, "hidden");
  else if (userHidden_.insert(bundleID).second)
    saveHidden();
  publishHidden();
}

void RowSets::unhide(const std::string& bundleID) {
  if (bundleID == FamilyRules::kCallAudioKey)
    settings_.set(kCallOverrideKey, "visible");
  else if (userHidden_.erase(bundleID) > 0)
    saveHidden();
  publishHidden();
}

void RowSets::removeCallAudioOverride() {
  settings_.remove(kCallOverrideKey);
  publishHidden();
}

void RowSets::applyCallState(bool isCallActive) {
  isCallActive_ = isCallActive;
  publishHidden();
}

void RowSets::remove(const std::string& bundleID) {
  if (removed_.insert(bundleID).second) settings_.setStringSet(kRemovedKey, removed_);
}

void RowSets::restore(const std::string& bundleID) {
  if (removed_.erase(bundleID) > 0) settings_.setStringSet(kRemovedKey, removed_);
}

void RowSets::pin(const std::string& bundleID) {
  // The call audio row manages itself.
  if (bundleID == FamilyRules::kCallAudioKey) return;
  if (pinned_.insert(bundleID).second) settings_.setStringSet(kPinnedKey, pinned_);
}

void RowSets::unpin(const std::string& bundleID) {
  if (pinned_.erase(bundleID) > 0) settings_.setStringSet(kPinnedKey, pinned_);
}

}  // namespace sonmere
