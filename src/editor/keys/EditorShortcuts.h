#pragma once

#include <map>
#include <optional>
#include <string>

#include "base/Log.h"
#include "base/SettingsStore.h"
#include "editor/keys/EditorShortcutAction.h"

namespace sonmere {

// Which key does what in the editors. A key is a text: its modifiers in the order control, alt, shift, then
// its name in lower case ("space", "left", "shift+left", "i"). Main thread.
class EditorShortcuts {
 public:
  // Map from an action's name to a key: what the user has changed.
  static constexpr const char* kShortcutsKey = "editor.shortcuts";

  // The defaults with the user's changes; what can't be read among these is logged and left out.
  EditorShortcuts(SettingsStore& settings, Log& log);
  static const std::map<EditorShortcutAction, std::string>& defaults();

  const std::string& key(EditorShortcutAction action) const { return keys_.at(action); }
  std::optional<EditorShortcutAction> action(const std::string& key) const;
  // Stores it. A key that another action has is refused: false.
  bool setKey(EditorShortcutAction action, const std::string& key);

 private:
  SettingsStore& settings_;
  std::map<EditorShortcutAction, std::string> keys_;
};

}  // namespace sonmere
