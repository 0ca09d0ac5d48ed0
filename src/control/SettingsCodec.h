#pragma once

#include "control/ControlMessage.h"
#include "control/SettingsControl.h"

namespace sonmere {

// Settings as they stand in messages. Of a structure only its size is told.
ControlJSON encodeControl(const SettingState& setting);
ControlJSON encodeControl(const SettingChange& change);

}  // namespace sonmere
