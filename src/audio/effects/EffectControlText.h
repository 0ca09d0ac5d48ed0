#pragma once

#include <string>

#include "audio/effects/EffectDetails.h"
#include "base/Error.h"

namespace sonmere {

// The control that a text names, by its symbol, else by its name. The error lists what there is.
Outcome<EffectControl> findControl(const EffectDetails& details, const std::string& text);
// A number within the control's range, the name of one of its values, "on" or "off".
Outcome<float> readControlValue(const EffectControl& control, const std::string& text);

}  // namespace sonmere
