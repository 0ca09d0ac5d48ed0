#include "editor/EditorShortcuts.h"

namespace sonmere {

EditorShortcuts::EditorShortcuts(SettingsStore& settings, Log& log) : settings_(settings), keys_(defaults()) {
  const auto changes = settings.dictionary(kShortcutsKey);
  if (!changes) return;
  for (const auto& [actionName, value] : *changes) {
    const auto changed = editorShortcutAction(actionName);
    const auto* text = value.as<std::string>();
    const auto owner = text ? action(*text) : std::nullopt;
    if (changed && text && !text->empty() && (!owner || *owner == *changed))
      keys_[*changed] = *text;
    else
      log.warning("EditorShortcuts: \"" + actionName + "\" in " + kShortcutsKey + " is left out");
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
