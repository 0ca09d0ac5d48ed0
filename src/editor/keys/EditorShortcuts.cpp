#include "editor/keys/EditorShortcuts.h"

namespace sonmere {

namespace {

using Keys = std::map<EditorShortcutAction, std::string>;

// An action whose key is no longer its default and which another action has too.
std::optional<EditorShortcutAction> clashingChange(const Keys& keys) {
  for (const auto& [action, key] : keys) {
    if (key == EditorShortcuts::defaults().at(action)) continue;
    for (const auto& [other, its] : keys)
      if (other != action && its == key) return action;
  }
  return std::nullopt;
}

}  // namespace

EditorShortcuts::EditorShortcuts(SettingsStore& settings, Log& log) : settings_(settings), keys_(defaults()) {
  const auto changes = settings.dictionary(kShortcutsKey);
  if (!changes) return;
  const auto leaveOut = [&](const std::string& actionName) {
    log.warning("EditorShortcuts: \"" + actionName + "\" in " + kShortcutsKey + " is left out");
  };
  for (const auto& [actionName, value] : *changes) {
    const auto changed = editorShortcutAction(actionName);
    const auto* text = value.as<std::string>();
    if (changed && text && !text->empty())
      keys_[*changed] = *text;
    else
      leaveOut(actionName);
  }
  // Only all together tell which keys are taken: two actions may have changed places.
  while (const auto clashing = clashingChange(keys_)) {
    leaveOut(name(*clashing));
    keys_[*clashing] = defaults().at(*clashing);
  }
}

const std::map<EditorShortcutAction, std::string>& EditorShortcuts::defaults() {
  static const std::map<EditorShortcutAction, std::string> keys = {
      {EditorShortcutAction::togglePlayback, "space"},
      {EditorShortcutAction::zoomIn, "="},
      {EditorShortcutAction::zoomOut, "-"},
      {EditorShortcutAction::zoomToFit, "0"},
      {EditorShortcutAction::nudgePlayheadLeft, "left"},
      {EditorShortcutAction::nudgePlayheadRight, "right"},
      {EditorShortcutAction::nudgePlayheadLeftLarge, "shift+left"},
      {EditorShortcutAction::nudgePlayheadRightLarge, "shift+right"},
      {EditorShortcutAction::setTrimStartAtPlayhead, "i"},
      {EditorShortcutAction::setTrimEndAtPlayhead, "o"},
  };
  return keys;
}

std::optional<EditorShortcutAction> EditorShortcuts::action(const std::string& key) const {
  for (const auto& [action, its] : keys_)
    if (its == key) return action;
  return std::nullopt;
}

bool EditorShortcuts::setKey(EditorShortcutAction changed, const std::string& key) {
  const auto owner = action(key);
  if (key.empty() || (owner && *owner != changed)) return false;
  keys_[changed] = key;
  SettingsValue::Dictionary changes;
  for (const auto& [action, its] : keys_)
    if (its != defaults().at(action)) changes[name(action)] = its;
  settings_.set(kShortcutsKey, std::move(changes));
  return true;
}

}  // namespace sonmere
