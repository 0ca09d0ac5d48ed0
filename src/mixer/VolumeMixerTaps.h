#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "audio/engine/EngineContext.h"
#include "mixer/VolumeMixerTap.h"

namespace sonmere {

// Makes and destroys the platform objects of the mixer's taps. Main thread.
class VolumeMixerTaps {
 public:
  explicit VolumeMixerTaps(EngineContext& context) : context_(context) {}

  // Told of a failure that concerns every app.
  std::function<void(const std::string& message)> fail;
  // By bundle identifier: the taps whose capture runs.
  std::map<std::string, std::shared_ptr<VolumeMixerTap>> active;

  // The capture of one app with roll-back; a failure is logged and leaves nothing behind. Blocks for the
  // settling time.
  bool build(const std::shared_ptr<VolumeMixerTap>& tap, const std::string& displayName);
  // The app plays by itself again, and nothing that waits in the ring sounds beside it.
  void tearDown(const std::string& bundleID);
  void tearDownAll();
  // Taps deliver at the rate of the output device, which has changed.
  void reconcileRates();

 private:
  // True when the rate was set anew.
  bool reconcileRate(const std::string& bundleID, AudioDeviceID aggregate);

  EngineContext& context_;
};

}  // namespace sonmere
