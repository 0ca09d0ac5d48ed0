#pragma once

#include <functional>
#include <string>

#include "audio/effects/EffectIntake.h"
#include "audio/effects/PluginScope.h"
#include "base/Log.h"
#include "base/Runtime.h"
#include "base/SettingsStore.h"

namespace sonmere {

// What the chains share. Main thread.
struct ChainContext {
  Runtime& runtime;
  Log& log;
  SettingsStore& settings;
  EffectsHost* host;  // null: no chain sounds
  EffectIntake& intake;
  // Something of a chain is another now.
  std::function<void()> changed;
  // A message for the user; empty: the one before is past.
  std::function<void(const std::string&)> tell;
};

}  // namespace sonmere
