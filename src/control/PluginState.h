#pragma once

#include <optional>
#include <string>
#include <vector>

#include "audio/effects/EffectDetails.h"
#include "audio/effects/PluginChain.h"

namespace sonmere {

// A plug-in that can be put into a chain, or can't.
struct PluginOffer {
  AvailableEffect effect;
  // What came of its trial: nothing when it was not tried, empty when it passed, else why it was refused.
  std::optional<std::string> refusal;
};

struct PluginInfo {
  PluginOffer offer;
  std::vector<EffectControl> controls;
  std::vector<EffectDetails::Preset> presets;
};

// The chain of a scope.
struct PluginChainState {
  std::string scope;  // "mic", "app:ID", "bus:N"
  PluginChain::State state = PluginChain::State::idle;
  bool isTrusted = false;
  double latencyMs = 0;   // of all of it
  double sampleRate = 0;  // Hz; 0 while it has no place
  std::vector<PluginChain::Plugin> plugins;
};

// The chains, and the last thing that the user is to know of them.
struct PluginOverview {
  std::vector<PluginChainState> chains;
  std::optional<std::string> error;
};

const char* name(PluginChain::State state);

}  // namespace sonmere
