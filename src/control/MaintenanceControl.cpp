#include "control/MaintenanceControl.h"

#include "app/FileSettingsStore.h"
#include "app/SettingsTransfer.h"
#include "control/ControlError.h"

namespace sonmere {

std::string MaintenanceControl::exportSettings() const {
  return sonmere::exportSettings(app_.context().settings);
}

Outcome<std::vector<std::string>> MaintenanceControl::importSettings(const std::string& text) {
  auto imported = sonmere::importSettings(text);
  if (!imported) return std::unexpected(controlError(ControlFault::badValue, imported.error().description));
  if (auto replaced = replace({SettingsPart::portable, std::move(imported->values)}); !replaced)
    return std::unexpected(replaced.error());
  return std::move(imported->notes);
}

Outcome<void> MaintenanceControl::reset(SettingsPart part) { return replace({part, {}}); }

Outcome<void> MaintenanceControl::replace(const SettingsReplacement& replacement) {
  if (!app_.recordings()->busRecordingStatuses->empty())
    return std::unexpected(
        controlError(ControlFault::failed, "a recording runs, which this would end; stop it first"));
  if (auto kept = replaceSettingsAtNextStart(defaultSettingsPath(), replacement); !kept)
    return std::unexpected(controlError(ControlFault::failed, kept.error().description));
  restart_();
  return {};
}

}  // namespace sonmere
