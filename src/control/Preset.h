#pragma once

#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "base/Error.h"
#include "dsp/AppEQSettings.h"
#include "routing/RoutingProfile.h"

namespace sonmere {

// An equaliser or a routing as a file to share: JSON with `format`, `version`, `kind` and the value.
struct Preset {
  std::string name;
  std::variant<AppEQSettings, std::vector<AppProfileEntry>> value;

  const AppEQSettings* equaliser() const { return std::get_if<AppEQSettings>(&value); }
  const std::vector<AppProfileEntry>* routing() const {
    return std::get_if<std::vector<AppProfileEntry>>(&value);
  }
  const char* kind() const { return equaliser() ? "equaliser" : "routing"; }
};

std::string encodePreset(const Preset& preset);

// What a text holds: a preset, or a parametric equaliser of another program, of which `notes` say what was
// left out. The error says why it is neither. `name` is for a text without one.
struct ReadPreset {
  Preset preset;
  std::vector<std::string> notes;
};
Outcome<ReadPreset> readPreset(std::string_view text, const std::string& name);

}  // namespace sonmere
