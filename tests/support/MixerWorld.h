#pragma once

#include <memory>
#include <string>

#include "driver/TrackNamesStore.h"
#include "mixer/VolumeMixerEngine.h"
#include "support/RoutingWorld.h"

namespace sonmere {

// A routing world with the mixer attached to its tap engine.
struct MixerWorld : RoutingWorld {
  using RoutingWorld::RoutingWorld;
  ~MixerWorld() { mixer.reset(); }

  void startMixer(bool enabled = true) {
    startEngine();
    makeMixer();
    if (enabled) mixer->setEnabled(true);
  }
  void makeMixer() {
    mixer = std::make_unique<VolumeMixerEngine>(context, trackNames);
    mixer->attach(engine);
  }
  std::shared_ptr<VolumeMixerTap> tap(const std::string& bundleID) const {
    const auto found = mixer->activeTaps().find(bundleID);
    return found == mixer->activeTaps().end() ? nullptr : found->second;
  }
  std::string mixerError() const { return mixer->errorMessage->value_or(""); }

  std::shared_ptr<TrackNamesStore> trackNames = std::make_shared<TrackNamesStore>(settings);
  std::unique_ptr<VolumeMixerEngine> mixer;
};

}  // namespace sonmere
