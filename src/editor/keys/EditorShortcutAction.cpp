#include "editor/keys/EditorShortcutAction.h"

namespace sonmere {

const char* name(EditorShortcutAction action) {
  switch (action) {
    case EditorShortcutAction::togglePlayback:
      return "togglePlayback";
    case EditorShortcutAction::zoomIn:
      return "zoomIn";
    case EditorShortcutAction::zoomOut:
      return "zoomOut";
    case EditorShortcutAction::zoomToFit:
      return "zoomToFit";
    case EditorShortcutAction::nudgePlayheadLeft:
      return "nudgePlayheadLeft";
    case EditorShortcutAction::nudgePlayheadRight:
      return "nudgePlayheadRight";
    case EditorShortcutAction::nudgePlayheadLeftLarge:
      return "nudgePlayheadLeftLarge";
    case EditorShortcutAction::nudgePlayheadRightLarge:
      return "nudgePlayheadRightLarge";
    case EditorShortcutAction::setTrimStartAtPlayhead:
      return "setTrimStartAtPlayhead";
    case EditorShortcutAction::setTrimEndAtPlayhead:
      return "setTrimEndAtPlayhead";
  }
  return "";
}

std::optional<EditorShortcutAction> editorShortcutAction(std::string_view text) {
  for (const EditorShortcutAction action : kEditorShortcutActions)
    if (text == name(action)) return action;
  return std::nullopt;
}

std::optional<double> nudgeSeconds(EditorShortcutAction action) {
  switch (action) {
    case EditorShortcutAction::nudgePlayheadLeft:
      return -kNudgeSeconds;
    case EditorShortcutAction::nudgePlayheadRight:
      return kNudgeSeconds;
    case EditorShortcutAction::nudgePlayheadLeftLarge:
      return -kLargeNudgeSeconds;
    case EditorShortcutAction::nudgePlayheadRightLarge:
      return kLargeNudgeSeconds;
    default:
      return std::nullopt;
  }
}

}  // namespace sonmere
