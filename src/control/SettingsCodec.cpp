#include "control/SettingsCodec.h"

#include "app/SettingsTable.h"

namespace sonmere {

namespace {

ControlJSON plainJSON(const SettingsValue& value) {
  return ControlJSON::parse(settingsValueToJSON(value), nullptr, false);
}

const char* kindText(SettingDescription::Kind kind) {
  switch (kind) {
    case SettingDescription::Kind::flag:
      return "flag";
    case SettingDescription::Kind::number:
      return "number";
    case SettingDescription::Kind::choice:
      return "choice";
    case SettingDescription::Kind::folder:
      return "folder";
    case SettingDescription::Kind::structure:
      return "structure";
  }
  return "structure";
}

}  // namespace

ControlJSON encodeControl(const SettingState& setting) {
  ControlJSON out{{"key", setting.key}};
  if (setting.isStructure())
    out["bytes"] = structureSize(setting.value);
  else
    out["value"] = plainJSON(setting.value);
  out["changed"] = setting.isChanged;
  if (!setting.description) return out;
  const SettingDescription& description = *setting.description;
  out["meaning"] = description.meaning;
  if (!description.changedBy.empty()) out["changedBy"] = description.changedBy;
  if (setting.isStructure()) return out;
  out["kind"] = kindText(description.kind);
  if (description.kind == SettingDescription::Kind::choice) out["choices"] = description.choices;
  if (description.kind == SettingDescription::Kind::number) {
    out["lowest"] = description.lowest;
    out["highest"] = description.highest;
  }
  out["default"] = plainJSON(description.fallback);
  out["takes"] = rangeText(description);
  out["effect"] = effectText(description.effect);
  return out;
}

ControlJSON encodeControl(const SettingChange& change) {
  return {{"setting", encodeControl(change.setting)}, {"notes", change.notes}};
}

}  // namespace sonmere
