#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace sonmere {

// Which of the settings an act concerns. Keys that this version does not know belong to `all` alone.
enum class SettingsPart {
  portable,  // what holds on another machine too: not what the user trusts here, nor facts of this machine
  routes,    // where sound goes
  settings,  // everything else that the user has set
  all
};
inline constexpr std::array kSettingsParts{SettingsPart::portable, SettingsPart::routes,
                                           SettingsPart::settings, SettingsPart::all};

bool isIn(SettingsPart part, std::string_view key);
const char* name(SettingsPart part);
std::optional<SettingsPart> settingsPartNamed(std::string_view name);

}  // namespace sonmere
