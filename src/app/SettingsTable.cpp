#include "app/SettingsTable.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "app/LatencyProbe.h"
#include "base/NearestText.h"
#include "dsp/Boost.h"
#include "editor/export/ExportFormat.h"
#include "recording/Preroll.h"
#include "recording/RecordingBitDepth.h"
#include "recording/RecordingFormatSetting.h"
#include "recording/RecordingLayout.h"
#include "recording/RecordingsFolder.h"
#include "recording/TakeBounds.h"

namespace sonmere {

namespace {

using Setting = SettingDescription;
using Kind = Setting::Kind;
using When = Setting::Effect;
using Matter = Setting::Matter;

std::vector<std::string> exportFormats() {
  std::vector<std::string> names;
  for (const ExportFormat& format : allExportFormats()) names.push_back(name(format));
  return names;
}

Setting flag(std::string key, bool fallback, std::string meaning, When effect = When::now) {
  return {std::move(key), Kind::flag, std::move(meaning), fallback, effect, 0, 0, {}, {}};
}

Setting choice(std::string key, std::vector<std::string> choices, std::string meaning, When effect) {
  const SettingsValue fallback = choices.front();
  return {std::move(key), Kind::choice, std::move(meaning), fallback, effect, 0, 0, std::move(choices), {}};
}

// From 0 on.
Setting number(std::string key, double fallback, double highest, std::string meaning, When effect) {
  return {std::move(key), Kind::number, std::move(meaning), fallback, effect, 0, highest, {}, {}};
}

Setting structure(std::string key, std::string meaning, std::string changedBy,
                  Matter matter = Matter::taste) {
  return {std::move(key),       Kind::structure, std::move(meaning), {}, When::nextStart, 0, 0, {},
          std::move(changedBy), matter};
}

Setting route(std::string key, std::string meaning, std::string changedBy) {
  return structure(std::move(key), std::move(meaning), std::move(changedBy), Matter::route);
}

// What the program keeps for itself.
Setting fact(std::string key, std::string meaning) {
  return structure(std::move(key), std::move(meaning), "", Matter::machine);
}

std::vector<Setting> forUsers() {
  return {
      choice(kRecordingFormatKey, {name(RecordingFormat::wav), name(RecordingFormat::m4a)},
             "What recordings are made as", When::nextRecording),
      choice(kRecordingLayoutKey,
             {name(RecordingLayout::mixed), name(RecordingLayout::dualMono),
              name(RecordingLayout::separateTracks)},
             "Which files a recording of the bridge makes", When::nextRecording),
      choice(
          kRecordingBitDepthKey,
          {name(RecordingBitDepth::int16), name(RecordingBitDepth::int24), name(RecordingBitDepth::float32)},
          "Samples of recordings in WAV", When::nextRecording),
      {RecordingsFolder::kPathKey,
       Kind::folder,
       "Where recordings go; without it Sonmere Recordings in the music folder",
       {},
       When::nextRecording,
       0,
       0,
       {},
       {}},
      number(
          kPrerollKey, 0, kLongestPreroll,
          "Seconds of what could be recorded that are kept in memory, so that a recording begins before it "
          "was asked for; 0: none",
          When::now),
      number(kStopFreeKey, kDefaultStopFreeMegabytes, 1e6,
             "Megabytes left on the drive at which recordings end; 0: when it is full", When::now),
      number(kWarnFreeKey, kDefaultWarnFreeMegabytes, 1e6,
             "Megabytes left on the drive below which a recording says so; 0: never", When::now),
      choice(kExportFormatKey, exportFormats(), "What edits and mixes are saved as", When::nextExport),
      flag("sonmere.volumeMixer.isEnabled", false, "The per-app volume"),
      {"sonmere.volumeMixer.masterVolume",
       Kind::number,
       "Master volume of the per-app volume, linear",
       1.0,
       When::now,
       0,
       maxMasterVolume(true),
       {},
       {}},
      flag("sonmere.boostAllowed", true, "Volumes above 100 %"),
      flag("sonmere.perapp.globalEnabled", true, "Routing as a whole"),
      flag("sonmere.eqSpectrumVisible", false, "The spectrum behind equalisers"),
      flag("sonmere.notifications", true, "Notifications of finished recordings and of failures"),
      flag("sonmere.updateCheck", false,
           "Whether Sonmere asks once a day if there is a newer version, where its package names a feed"),
      flag("sonmere.usageCounts", false, "Counts of what is used, on this machine and for you alone"),
      flag("sonmere.analyticsOptOut", false, "Forbids counts of what is used, whatever else says"),
      flag("sonmere.hotkeys.enabled", false, "Keys that work in any program"),
      flag("sonmere.showWindowOnLaunch", true, "A window at the start", When::nextStart),
      flag(LatencyProbe::kEveryTickKey, false, "Delays in the log at every look, not after changes only"),
  };
}

std::vector<Setting> ofCommands() {
  return {
      structure("sonmere.volumeMixer.appsState", "Volumes and mutes of apps that are not routed",
                "sonmere volume and mute"),
      structure("sonmere.volumeMixer.directApps", "Apps that play untouched", "sonmere direct"),
      structure("sonmere.outputEQ", "Equaliser of the per-app volume's output", "sonmere output-eq"),
      structure("sonmere.appEQSettings.*", "Equalisers of apps and buses", "sonmere eq and bus"),
      structure("sonmere.appLimiterSettings.*", "Limiters of apps", "sonmere limit"),
      structure("sonmere.masterLimiterSettings.*", "Limiters of buses", "sonmere bus"),
      structure("sonmere.pluginChain.*", "Plug-ins on apps, buses and the microphone", "sonmere plugin"),
      structure("sonmere.pluginChainTrusted.*", "Plug-ins that run inside the program",
                "sonmere plugin trust", Matter::trust),
      structure("sonmere.rules", "What is done while an app runs, a device is there or the microphone is on",
                "sonmere rule"),
      fact("sonmere.lastUpdateCheckDate", "When a newer version was asked for"),
      fact("sonmere.dismissedUpdateVersion", "The version that you don't want to hear of"),
      fact("sonmere.pluginTrials", "What came of trying plug-ins"),
      structure("sonmere.hiddenApps", "Hidden apps", "sonmere hide and unhide"),
      structure("sonmere.removedApps", "Apps off the list", "sonmere remove and unhide"),
      structure("sonmere.pinnedApps", "Apps that stay in the list", "sonmere pin and unpin"),
      structure("sonmere.callAudio.visibilityOverride", "Whether the row of calls is shown",
                "sonmere hide and unhide"),
      structure("sonmere.micPassthrough.*", "The microphone: device, channels, volume", "sonmere mic"),
      route("sonmere.mic.sends", "What of the microphone the Tracks get", "sonmere mic send"),
      structure("sonmere.mic.extraSources.*", "Additional inputs of each device", "sonmere input"),
      route("sonmere.dawAggregate.isEnabled", "Whether the Tracks are one device", "sonmere daw"),
      route("sonmere.combinedInput.devices", "Inputs that are one device", "sonmere combine"),
      route("sonmere.combinedInput.name", "What that device is called", "sonmere combine"),
      route("systemAudio_isEnabled", "Whether what the system plays reaches the bridge", "sonmere system"),
      route("systemAudio_followSystemDefault", "Whether it follows the default output", "sonmere system"),
      route("selectedOutputDeviceUID", "The output that system audio is paired with", "sonmere system"),
      fact("systemAudio_originalOutputDeviceID", "The default output before system audio"),
      fact("systemAudio_multiOutputDeviceID", "The device that system audio has made"),
      fact("systemAudio_lastSeenAppVersion", "The version that ran last"),
      fact("sonmere.sap.restoreAfterUpdate", "Whether system audio comes back after an update"),
      fact("sonmere.sap.disabledByUpdateNotice", "Whether an update has ended system audio"),
      fact("sonmere.mixMode.toggleCounter", "How often Mix Mode was switched on"),
      flag("sonmere.mixMode.disabled", false, "Forbids Mix Mode"),
      route("sonmere.mixMode.isEnabled", "Mix Mode", "sonmere mix"),
      route("sonmere.mixMode.includeSystemAudio", "Whether Mix Mode hears what is not routed", "sonmere mix"),
      route("sonmere.mixMode.systemAudioVolume", "How loud Mix Mode plays that", "sonmere mix"),
      route("sonmere.mixMode.hearDAWTracks", "Whether Mix Mode hears Tracks that others feed", "sonmere mix"),
      route("sonmere.mixMode.dawTrackVolumes", "How loud Mix Mode plays each of them", "sonmere daw track"),
      route("sonmere.mixMode.dawTrackMuted", "Which of them Mix Mode does not play", "sonmere daw track"),
      route("sonmere.mixMode.hearMic.enabled", "Whether you hear your microphone", "sonmere monitor mic"),
      route("sonmere.mixMode.monitorVolume", "How loud you hear your microphone", "sonmere monitor mic"),
      route("sonmere.monitor.*", "The device that the monitor plays on", "sonmere monitor device"),
      route("sonmere.inputPin*", "The device that is kept as the default input", "sonmere input-lock"),
      structure("sonmere.trackNames", "Names of the Tracks", "sonmere bus"),
      structure("launchAtLogin", "Whether the program started at log-in when it last looked",
                "sonmere login-item", Matter::machine),
      structure("sonmere.perapp.profiles", "Saved routings", "sonmere profile"),
      route("sonmere.perapp.*", "Routes, with their volumes and mutes", "sonmere route, volume and mute"),
  };
}

std::vector<Setting> ofTheProgram() {
  return {
      structure("sonmere.dualmono.isEnabled", "Whether the bridge is split", ""),
      structure("editor.shortcuts", "Keys of the editors that were changed", ""),
      structure("sonmere.clientGains", "Volumes that the driver applies", ""),
      structure("sonmere.volumeMixer.dawHintSeen", "Apps that Direct was offered for", ""),
      fact("sonmere.hasCompletedFirstLaunch", "Whether there was a first start"),
      fact("sonmere.cleanSlateMigration.v5", "Whether old rows were taken over"),
      fact("sonmere.pending28Note", "A note that waits to be shown"),
      fact("sonmere.welcome.*", "Notes that were shown"),
      fact("didAutoRegisterLoginItem", "Whether the start at log-in was set up"),
  };
}

bool fits(const Setting& setting, std::string_view key) {
  const std::string_view own = setting.key;
  return own.ends_with('*') ? key.starts_with(own.substr(0, own.size() - 1)) : key == own;
}

std::unexpected<Error> refuse(std::string text) {
  return std::unexpected(Error{kSettingsErrorDomain, 1, std::move(text)});
}

std::optional<double> numberOf(const SettingsValue& value) {
  if (const auto* whole = value.as<std::int64_t>()) return double(*whole);
  if (const auto* number = value.as<double>()) return *number;
  return std::nullopt;
}

bool takes(const Setting& setting, const SettingsValue& value) {
  const auto* text = value.as<std::string>();
  switch (setting.kind) {
    case Kind::flag:
      return value.as<bool>() != nullptr;
    case Kind::number: {
      const auto number = numberOf(value);
      return number && *number >= setting.lowest && *number <= setting.highest;
    }
    case Kind::choice:
      return text && std::ranges::find(setting.choices, *text) != setting.choices.end();
    case Kind::folder:
      return text && std::filesystem::path(*text).is_absolute() && text->find('\0') == std::string::npos;
    case Kind::structure:
      return true;
  }
  return false;
}

}  // namespace

const std::vector<Setting>& settingsTable() {
  static const std::vector<Setting> all = [] {
    std::vector<Setting> table = forUsers();
    std::ranges::move(ofCommands(), std::back_inserter(table));
    std::ranges::move(ofTheProgram(), std::back_inserter(table));
    return table;
  }();
  return all;
}

const Setting* describeSetting(std::string_view key) {
  const auto& all = settingsTable();
  const auto found = std::ranges::find_if(all, [&](const Setting& setting) { return fits(setting, key); });
  return found == all.end() ? nullptr : &*found;
}

std::vector<std::string> settableKeys() {
  std::vector<std::string> keys;
  for (const Setting& setting : settingsTable())
    if (setting.kind != Kind::structure) keys.push_back(setting.key);
  return keys;
}

std::string rangeText(const Setting& setting) {
  switch (setting.kind) {
    case Kind::flag:
      return "true or false";
    case Kind::number:
      return fmt::format("{} to {}", setting.lowest, setting.highest);
    case Kind::choice: {
      std::string text = setting.choices.front();
      for (std::size_t i = 1; i < setting.choices.size(); ++i)
        text += (i + 1 == setting.choices.size() ? " or " : ", ") + setting.choices[i];
      return text;
    }
    case Kind::folder:
      return "the full path of a folder";
    case Kind::structure:
      return "a structure";
  }
  return {};
}

std::string effectText(SettingDescription::Effect effect) {
  switch (effect) {
    case When::now:
      return "at once";
    case When::nextRecording:
      return "with the next recording";
    case When::nextExport:
      return "with the next export";
    case When::nextStart:
      return "with the next start";
  }
  return {};
}

Outcome<const Setting*> settableSetting(std::string_view key) {
  const Setting* setting = describeSetting(key);
  if (!setting) {
    const auto near = nearestText(key, settableKeys());
    return refuse(fmt::format("there is no setting \"{}\"{}", key,
                              near ? fmt::format("; did you mean {}?", *near) : ""));
  }
  if (setting->kind != Kind::structure) return setting;
  if (setting->changedBy.empty()) return refuse(fmt::format("{} is kept by Sonmere itself", key));
  return refuse(fmt::format("{} is changed by {}", key, setting->changedBy));
}

Outcome<SettingsValue> checkedSetting(const Setting& setting, SettingsValue value) {
  if (!takes(setting, value))
    return refuse(
        fmt::format("{} can't be {}; use {}", setting.key, settingsValueToJSON(value), rangeText(setting)));
  if (setting.kind == Kind::number) return SettingsValue(*numberOf(value));
  return value;
}

}  // namespace sonmere
