#pragma once

#include <algorithm>
#include <tuple>
#include <vector>

#include "audio/effects/AvailableEffect.h"

namespace sonmere {

// By manufacturer, then name; of the same name by identifier.
inline void sortEffects(std::vector<AvailableEffect>& effects) {
  std::ranges::sort(effects, [](const AvailableEffect& a, const AvailableEffect& b) {
    return std::tie(a.manufacturer, a.name, a.id) < std::tie(b.manufacturer, b.name, b.id);
  });
}

}  // namespace sonmere
