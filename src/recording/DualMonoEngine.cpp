#include "recording/DualMonoEngine.h"

#include "base/ThreadRules.h"

namespace sonmere {

DualMonoEngine::DualMonoEngine(Log& log, SettingsStore& settings, NotificationCenter& notifications)
    : log_(log), settings_(settings), notifications_(notifications) {
  // Of before there were layouts.
  if (!settings.string(kRecordingLayoutKey) && settings.boolValue(kEnabledKey))
    settings.set(kRecordingLayoutKey, std::string(name(RecordingLayout::dualMono)));
  layout.set(recordingLayout(settings));
  // What was stored by hand follows the layout.
  const bool isSplit = *layout == RecordingLayout::dualMono;
  if (settings.boolValue(kEnabledKey) != isSplit) settings.set(kEnabledKey, isSplit);
  isEnabled.set(isSplit);
}

void DualMonoEngine::setLayout(RecordingLayout wanted) {
  assertMain();
  settings_.set(kRecordingLayoutKey, std::string(name(wanted)));
  if (*layout != wanted) layout.set(wanted);
  setEnabled(wanted == RecordingLayout::dualMono);
}

void DualMonoEngine::setEnabled(bool enabled) {
  if (*isEnabled == enabled) return;
  isEnabled.set(enabled);
  log_.info(std::string("Sonmere: Dual-mono mode ") + (enabled ? "ENABLED" : "DISABLED") +
            " (persisted; driver picks up on next mic engine restart)");
  settings_.set(kEnabledKey, enabled);
  notifications_.post(kChanged);
}

}  // namespace sonmere
