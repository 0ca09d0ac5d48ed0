#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "dsp/AppEQSettings.h"

namespace sonmere {

// An equaliser that was read from the text of a parametric one, with lines as
// "Filter 1: ON PK Fc 100 Hz Gain -2 dB Q 1".
struct ParametricFit {
  AppEQSettings settings;
  std::vector<std::string> notes;  // what three sections can't hold, for the user
};

// The high- and low-pass as they are, and the bell that changes most: |dB| times octaves. A shelf counts as
// the wide bell an octave beyond its corner that comes nearest to it. Nothing where the text has no such
// line.
std::optional<ParametricFit> fitParametric(std::string_view text);

}  // namespace sonmere
