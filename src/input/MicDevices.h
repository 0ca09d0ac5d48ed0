#pragma once

#include <optional>
#include <string>
#include <vector>

#include "audio/engine/EngineContext.h"
#include "base/Observable.h"
#include "input/MicDevice.h"

namespace sonmere {

// Which input devices there are, which one the user chose, and which one serves meanwhile when that is gone.
// Main thread.
class MicDevices {
 public:
  static constexpr const char* kSelectedUIDKey = "sonmere.micPassthrough.selectedMicUID";

  explicit MicDevices(EngineContext& context);

  // The inputs that a user may choose: without the program's own devices.
  static std::vector<MicDevice> list(AudioHardware& hardware);

  OwnedObservable<std::vector<MicDevice>, MicDevices> availableMics;  // without the program's own devices
  OwnedObservable<std::optional<AudioDeviceID>, MicDevices> selectedMicID;

  // What the user chose, also while it is gone; empty before any choice.
  const std::string& savedUID() const { return savedUID_; }
  bool isOnTemporaryFallback() const { return isOnTemporaryFallback_; }
  std::optional<MicDevice> selected() const;
  std::optional<MicDevice> find(std::string_view uid) const;
  int channelCount(const MicDevice& device) const;

  // Stores the choice; false when there is no such input now, which changes nothing.
  bool select(const std::string& uid);
  // Looks at the devices anew: the saved choice when it is there, else the one in use, else the default
  // input, else the first by transport. Returns whether another device is in use than before.
  bool refresh();

 private:
  std::optional<MicDevice> fallback() const;
  std::optional<MicDevice> choose() const;

  EngineContext& context_;
  std::string savedUID_;
  std::string usedUID_;
  bool isOnTemporaryFallback_ = false;
};

}  // namespace sonmere
