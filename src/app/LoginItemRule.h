#pragma once

#include "audio/device/LoginItem.h"
#include "base/Log.h"
#include "base/SettingsStore.h"

namespace sonmere {

// Notes whether the program starts with the session, and registers it once in the life of the settings,
// whether that works or not. Main thread.
void applyLoginItemRule(LoginItem& loginItem, std::string_view why, SettingsStore& settings, Log& log);

}  // namespace sonmere
