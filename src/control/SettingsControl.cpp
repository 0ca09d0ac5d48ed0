#include "control/SettingsControl.h"

#include <fmt/format.h>

#include "app/SettingsTable.h"
#include "control/ControlError.h"
#include "control/MixerControl.h"
#include "control/RoutingControl.h"
#include "recording/Preroll.h"
#include "recording/RecordingFormatSetting.h"
#include "recording/RecordingsFolderState.h"

namespace sonmere {

namespace {

std::unexpected<Error> refuse(ControlFault fault, std::string text) {
  return std::unexpected(controlError(fault, std::move(text)));
}

}  // namespace

std::vector<SettingState> SettingsControl::list() const { return settingStates(settings()); }

Outcome<SettingState> SettingsControl::get(const std::string& key) const {
  SettingState state = settingState(settings(), key);
  if (state.description || settings().object(key)) return state;
  return refuse(ControlFault::notFound, settableSetting(key).error().description);
}

Outcome<SettingChange> SettingsControl::set(const std::string& key, const SettingsValue& value, bool force) {
  SettingChange change;
  const auto setting = settableSetting(key);
  const auto checked = setting ? checkedSetting(**setting, value) : std::unexpected(setting.error());
  if (!checked && !force) return refuse(ControlFault::badValue, checked.error().description);
  if (!checked) {
    settings().set(key, value);
    change.notes.push_back(fmt::format("{} is stored as it stands, and read at the next start", key));
  } else if (const auto applied = apply(key, *checked, change.notes); !applied) {
    return std::unexpected(applied.error());
  }
  change.setting = settingState(settings(), key);
  return change;
}

Outcome<SettingChange> SettingsControl::reset(const std::string& key) {
  const auto present = get(key);
  if (!present) return std::unexpected(present.error());
  SettingChange change;
  const SettingDescription* description = present->description;
  // Whoever owns it holds it in memory, and would store it again.
  if (description && description->kind == SettingDescription::Kind::structure)
    return refuse(ControlFault::badValue, fmt::format("{}; it can be taken away while Sonmere does not run",
                                                      settableSetting(key).error().description));
  if (description && description->kind == SettingDescription::Kind::folder)
    app_.recordingsLibrary()->useDefaultFolder();
  else if (description)
    if (const auto applied = apply(key, description->fallback, change.notes); !applied)
      return std::unexpected(applied.error());
  settings().remove(key);
  change.setting = settingState(settings(), key);
  return change;
}

Outcome<void> SettingsControl::applySwitch(const std::string& key, bool on) {
  MixerControl mixer(app_);
  if (key == "sonmere.volumeMixer.isEnabled") {
    if (const auto changed = mixer.setEnabled(on); !changed) return std::unexpected(changed.error());
  } else if (key == "sonmere.boostAllowed") {
    mixer.setBoostAllowed(on);
  } else if (key == "sonmere.perapp.globalEnabled") {
    RoutingControl(app_).setEnabled(on);
  } else if (key == "sonmere.eqSpectrumVisible") {
    app_.appTapEngine()->effects().setSpectrumVisible(on);
  } else {
    settings().set(key, on);
  }
  return {};
}

// Whoever owns a value takes it up and saves it; what is only read when it is needed is stored.
Outcome<void> SettingsControl::apply(const std::string& key, const SettingsValue& value,
                                     std::vector<std::string>& notes) {
  if (const auto* on = value.as<bool>()) return applySwitch(key, *on);
  if (const auto* number = value.as<double>(); number && key == "sonmere.volumeMixer.masterVolume") {
    const auto changed = MixerControl(app_).setMaster({.value = float(*number)});
    if (!changed) return std::unexpected(changed.error());
    notes.insert(notes.end(), changed->notes.begin(), changed->notes.end());
    app_.volumeMixerEngine()->flushPendingSaves();
    return {};
  }
  const auto* text = value.as<std::string>();
  if (text && key == RecordingsFolder::kPathKey) return chooseFolder(*text, notes);
  if (text && key == kRecordingLayoutKey) {
    app_.dualMonoEngine()->setLayout(recordingLayoutNamed(*text).value_or(RecordingLayout::mixed));
    return {};
  }
  settings().set(key, value);
  if (key == kPrerollKey) {
    app_.recordings()->preroll().settingChanged();
    if (const auto& refusal = app_.recordings()->preroll().state->refusal; !refusal.empty())
      notes.push_back(refusal);
  }
  if (key == kRecordingFormatKey)
    app_.recordings()->setDefaultRecordingFormat(
        storedRecordingFormat(settings()).value_or(RecordingFormat::wav));
  return {};
}

Outcome<void> SettingsControl::chooseFolder(const std::string& folder, std::vector<std::string>& notes) {
  switch (app_.recordingsLibrary()->chooseFolder(folder)) {
    case RecordingsLibrary::Choice::taken:
      return {};
    case RecordingsLibrary::Choice::absent:
      notes.push_back(pickedFolderUnavailableText(app_.recordingsLibrary()->defaultFolder()));
      return {};
    case RecordingsLibrary::Choice::refused:
      return refuse(ControlFault::badValue, fmt::format("{} can't be written to", folder));
  }
  return {};
}

}  // namespace sonmere
