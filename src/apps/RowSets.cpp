#include "apps/RowSets.h"

#include "apps/FamilyRules.h"
#include "base/ThreadRules.h"

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
  hidden_.setIfChanged(std::move(hidden));
}

void RowSets::tellChange() {
  if (didChange) didChange();
}

void RowSets::hide(const std::string& bundleID) {
  assertMain();
  if (bundleID == FamilyRules::kCallAudioKey)
    settings_.set(kCallOverrideKey, "hidden");
  else if (userHidden_.insert(bundleID).second)
    saveHidden();
  publishHidden();
  tellChange();
}

void RowSets::unhide(const std::string& bundleID) {
  assertMain();
  if (bundleID == FamilyRules::kCallAudioKey)
    settings_.set(kCallOverrideKey, "visible");
  else if (userHidden_.erase(bundleID) > 0)
    saveHidden();
  publishHidden();
  tellChange();
}

void RowSets::removeCallAudioOverride() {
  assertMain();
  settings_.remove(kCallOverrideKey);
  publishHidden();
  tellChange();
}

void RowSets::applyCallState(bool isCallActive) {
  assertMain();
  isCallActive_ = isCallActive;
  publishHidden();
}

void RowSets::remove(const std::string& bundleID) {
  assertMain();
  if (removed_.insert(bundleID).second) settings_.setStringSet(kRemovedKey, removed_);
  tellChange();
}

void RowSets::restore(const std::string& bundleID) {
  assertMain();
  if (removed_.erase(bundleID) > 0) settings_.setStringSet(kRemovedKey, removed_);
  tellChange();
}

void RowSets::pin(const std::string& bundleID) {
  assertMain();
  // The call audio row manages itself.
  if (bundleID == FamilyRules::kCallAudioKey) return;
  if (pinned_.insert(bundleID).second) settings_.setStringSet(kPinnedKey, pinned_);
  tellChange();
}

void RowSets::unpin(const std::string& bundleID) {
  assertMain();
  if (pinned_.erase(bundleID) > 0) settings_.setStringSet(kPinnedKey, pinned_);
  tellChange();
}

}  // namespace sonmere
