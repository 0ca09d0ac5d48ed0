#pragma once

#include <functional>
#include <memory>

#include "editor/keys/EditorShortcuts.h"
#include "editor/keys/EditorWindow.h"
#include "editor/keys/KeyEvents.h"

namespace sonmere {

// Hands an editor's keys to its handler, while the editor's window is the one that gets keys. Main thread.
class EditorShortcutsMonitor {
 public:
  // Takes an action and returns whether it was used; a key that was not goes on to others.
  using Handler = std::function<bool(EditorShortcutAction)>;

  explicit EditorShortcutsMonitor(const EditorShortcuts& shortcuts) : shortcuts_(shortcuts) {}

  void start(KeyEvents& events, std::weak_ptr<EditorWindow> ownerWindow, Handler handler) {
    ownerWindow_ = std::move(ownerWindow);
    handler_ = std::move(handler);
    localMonitor_ = events.addLocalMonitor([this](const std::string& key) { return handle(key); });
  }
  void stop() { localMonitor_.reset(); }

 private:
  bool handle(const std::string& key) {
    const auto window = ownerWindow_.lock();
    if (!window || !window->isKey() || !handler_) return false;
    const auto action = shortcuts_.action(key);
    return action && handler_(*action);
  }

  const EditorShortcuts& shortcuts_;
  KeyEvents::Handle localMonitor_;
  Handler handler_;
  std::weak_ptr<EditorWindow> ownerWindow_;
};

}  // namespace sonmere
