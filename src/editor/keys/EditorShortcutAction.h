#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace sonmere {

// What keys do in an editor.
enum class EditorShortcutAction {
  togglePlayback,
  zoomIn,
  zoomOut,
  zoomToFit,
  nudgePlayheadLeft,
  nudgePlayheadRight,
  nudgePlayheadLeftLarge,
  nudgePlayheadRightLarge,
  setTrimStartAtPlayhead,
  setTrimEndAtPlayhead,
};

inline constexpr std::array kEditorShortcutActions = {
    EditorShortcutAction::togglePlayback,
    EditorShortcutAction::zoomIn,
    EditorShortcutAction::zoomOut,
    EditorShortcutAction::zoomToFit,
    EditorShortcutAction::nudgePlayheadLeft,
    EditorShortcutAction::nudgePlayheadRight,
    EditorShortcutAction::nudgePlayheadLeftLarge,
    EditorShortcutAction::nudgePlayheadRightLarge,
    EditorShortcutAction::setTrimStartAtPlayhead,
    EditorShortcutAction::setTrimEndAtPlayhead,
};

// How far the playhead is nudged, in seconds.
inline constexpr double kNudgeSeconds = 0.01;
inline constexpr double kLargeNudgeSeconds = 1.0;

// As it stands in the settings: "togglePlayback".
const char* name(EditorShortcutAction action);
std::optional<EditorShortcutAction> editorShortcutAction(std::string_view name);

// Seconds by which a nudge moves the playhead; nothing for every other action.
std::optional<double> nudgeSeconds(EditorShortcutAction action);

}  // namespace sonmere
