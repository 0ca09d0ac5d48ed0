#include "app/SettingsPart.h"

#include <algorithm>

#include "app/SettingsTable.h"

namespace sonmere {

bool isIn(SettingsPart part, std::string_view key) {
  using Matter = SettingDescription::Matter;
  if (part == SettingsPart::all) return true;
  const SettingDescription* setting = describeSetting(key);
  if (!setting || setting->matter == Matter::machine) return false;
  if (part == SettingsPart::portable) return setting->matter != Matter::trust;
  return (setting->matter == Matter::route) == (part == SettingsPart::routes);
}

const char* name(SettingsPart part) {
  switch (part) {
    case SettingsPart::portable:
      return "portable";
    case SettingsPart::routes:
      return "routes";
    case SettingsPart::settings:
      return "settings";
    case SettingsPart::all:
      return "all";
  }
  return "";
}

std::optional<SettingsPart> settingsPartNamed(std::string_view text) {
  const auto found =
      std::ranges::find(kSettingsParts, text, [](SettingsPart part) { return std::string_view(name(part)); });
  return found == kSettingsParts.end() ? std::nullopt : std::optional(*found);
}

}  // namespace sonmere
